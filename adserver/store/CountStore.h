#pragma once

#include <QByteArray>
#include <QString>

#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

// Where the counters last: additive, so any number of servers may add to the
// same database. A lost connection is opened again on the next call. Beside
// them, the latest ad requests of every server, as /stats lists them: the only
// thing kept per request, bounded in number and age.
class CountStore
{
public:
    // Unit ("" for the whole server), creative ("" for the unit), counter name.
    using Key = std::tuple<QString, QString, QString>;
    using Counts = std::map<Key, qint64>;
    // One ad request as listed: its parameters (a JSON object) and the names
    // withheld from them (a JSON array), both as text.
    struct Request
    {
        qint64 id = 0;
        qint64 timeMs = 0;
        QString unit;
        QString creative;
        QByteArray parameters;
        QByteArray withheld;
    };
    using Requests = std::vector<Request>;

    virtual ~CountStore() = default;

    // A postgresql:// (or postgres://) URI, else an SQLite file (":memory:" keeps nothing).
    static std::unique_ptr<CountStore> open(const QString &location, QString *error);

    // Every server's counts; nothing when the database cannot be read.
    virtual std::optional<Counts> load() = 0;
    // Adds all or nothing in one transaction: the database's complaint, empty when written.
    virtual QByteArray add(const Counts &additions) = 0;
    // Adds ad requests, then keeps the newest `keep` of all and none older than
    // `notBeforeMs` (0: any age): the database's complaint, empty when written.
    virtual QByteArray addRequests(const Requests &requests, int keep, qint64 notBeforeMs) = 0;
    // The newest `count`, oldest first; nothing when the database cannot be read.
    virtual std::optional<Requests> latestRequests(int count) = 0;
    // Removes the requests whose parameters hold `text`: how many, or nothing when it failed.
    virtual std::optional<qint64> eraseRequestsHolding(const QByteArray &text) = 0;
    // Distinct for every start of every server on this database, from 0 up.
    qint64 runNumber() const { return runNumber_; }

protected:
    qint64 runNumber_ = 0;
};
