#pragma once

#include <QByteArray>
#include <QString>

#include <map>
#include <memory>
#include <optional>
#include <tuple>

// Where the counters last: additive, so any number of servers may add to the
// same database. A lost connection is opened again on the next call.
class CountStore
{
public:
    // Unit ("" for the whole server), creative ("" for the unit), counter name.
    using Key = std::tuple<QString, QString, QString>;
    using Counts = std::map<Key, qint64>;

    virtual ~CountStore() = default;

    // A postgresql:// (or postgres://) URI, else an SQLite file (":memory:" keeps nothing).
    static std::unique_ptr<CountStore> open(const QString &location, QString *error);

    // Every server's counts; nothing when the database cannot be read.
    virtual std::optional<Counts> load() = 0;
    // Adds all or nothing in one transaction: the database's complaint, empty when written.
    virtual QByteArray add(const Counts &additions) = 0;
    // Distinct for every start of every server on this database, from 0 up.
    qint64 runNumber() const { return runNumber_; }

protected:
    qint64 runNumber_ = 0;
};
