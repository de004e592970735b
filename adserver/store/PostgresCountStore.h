#pragma once

#include "store/CountStore.h"

#include <chrono>
#include <mutex>

struct pg_conn;

// Counters in PostgreSQL, shared by every server pointed at the database. A
// lost connection fails calls at once and is opened again at most every
// reconnectInterval, so a database that is away costs no waiting per batch.
class PostgresCountStore : public CountStore
{
public:
    static constexpr auto reconnectInterval = std::chrono::milliseconds(250);

    PostgresCountStore() = default;
    ~PostgresCountStore() override;
    PostgresCountStore(const PostgresCountStore &) = delete;
    PostgresCountStore &operator=(const PostgresCountStore &) = delete;

    bool open(const QString &uri, QString *error);

    std::optional<Counts> load() override;
    QByteArray add(const Counts &additions) override;
    QByteArray addRequests(const Requests &requests, int keep, qint64 notBeforeMs) override;
    std::optional<Requests> latestRequests(int count) override;
    std::optional<qint64> eraseRequestsHolding(const QByteArray &text) override;

private:
    bool connected();
    bool connect();
    QByteArray complaint() const;

    std::mutex mutex_;
    QByteArray uri_;
    pg_conn *connection_ = nullptr;
    std::chrono::steady_clock::time_point lastAttempt_;
};
