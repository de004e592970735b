#pragma once

#include <QString>

#include <atomic>
#include <map>
#include <mutex>
#include <tuple>

struct sqlite3;

// Counters kept in an SQLite database (write-ahead log), so they survive
// restarts. Any thread may add; additions wait in memory until commit(), which
// writes them in one transaction. A failed commit keeps them for the next one,
// is reported once on standard error and counted.
class CountStore
{
public:
    // Unit ("" for the whole server), creative ("" for the unit), counter name.
    using Key = std::tuple<QString, QString, QString>;

    CountStore() = default;
    ~CountStore();
    CountStore(const CountStore &) = delete;
    CountStore &operator=(const CountStore &) = delete;

    bool open(const QString &path, QString *error);
    std::map<Key, qint64> load() const;

    void add(const QString &unit, const QString &creative, const QString &name);
    void commit();
    qint64 failedCommits() const { return failedCommits_; }

private:
    // The database's complaint, empty when all was written.
    QByteArray write(const std::map<Key, qint64> &additions);

    sqlite3 *db_ = nullptr;
    std::mutex pendingMutex_;
    std::map<Key, qint64> pending_;
    std::mutex commitMutex_;
    bool failing_ = false;
    std::atomic<qint64> failedCommits_{0};
};
