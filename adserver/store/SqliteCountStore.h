#pragma once

#include "store/CountStore.h"

#include <mutex>

struct sqlite3;

// Counters in an SQLite file (write-ahead log, synced on every commit), the
// embedded default: one server per file. Its calls may come from any thread.
class SqliteCountStore : public CountStore
{
public:
    SqliteCountStore() = default;
    ~SqliteCountStore() override;
    SqliteCountStore(const SqliteCountStore &) = delete;
    SqliteCountStore &operator=(const SqliteCountStore &) = delete;

    bool open(const QString &path, QString *error);

    std::optional<Counts> load() override;
    QByteArray add(const Counts &additions) override;
    QByteArray addRequests(const Requests &requests, int keep, qint64 notBeforeMs) override;
    std::optional<Requests> latestRequests(int count) override;
    std::optional<qint64> eraseRequestsHolding(const QByteArray &text) override;

private:
    bool startRun();

    std::mutex mutex_;
    sqlite3 *db_ = nullptr;
};
