#pragma once

#include "store/GroupCommit.h"

#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrlQuery>

#include <deque>
#include <utility>
#include <vector>

class RequestLog;

// Counters per ad unit and creative, kept by the group commit, plus this
// server's most recent ad requests with their parameters. Only configured
// units and known creatives get their own counters, so clients cannot grow
// the tables without bound, and a recent request keeps at most
// recentParameterBytes of parameters. Not thread-safe, except store() and the
// durable records, which only read the configuration: the server serialises
// the rest.
class AdStats
{
public:
    static constexpr qsizetype recentParameterBytes = 4096;

    // Request ids start above every earlier run's on the same store.
    AdStats(const QStringList &units, const QStringList &creatives, int recentCount, GroupCommit &commits, qint64 runNumber);

    qint64 nextRequestId() { return (runNumber_ << 32) + ++lastRequestId_; }

    void recordRequest();  // any HTTP request
    // An empty creative means no fill.
    void recordAdRequest(qint64 id, const QString &unit, const QUrlQuery &query, const QString &creative);
    void recordRejected();
    // Counted when stored: `done` tells whether it was.
    void recordImpression(const QString &unit, const QString &creative, GroupCommit::Done done) const;
    void recordClick(const QString &unit, const QString &creative, GroupCommit::Done done) const;
    void recordClickThrough(const QString &unit, const QString &creative, GroupCommit::Done done) const;
    // The counts recorded since the last call, for store(): a batch must not
    // hold a count before the request log holds its line.
    std::vector<GroupCommit::Key> takeCounts() { return std::exchange(staged_, {}); }
    // Any thread.
    void store(const std::vector<GroupCommit::Key> &counts) const { commits_.add(counts); }
    // Whether counts can be stored now.
    bool storing() const { return commits_.accepting(); }
    // Where the request log reports lost writes.
    void watchStorage(const RequestLog *log) { log_ = log; }

    QJsonObject toJson() const;

private:
    bool tracked(const QString &unit, const QString &creative, const QString &name) const;
    // An untracked unit or creative is unattributed.
    GroupCommit::Key attribute(const QString &unit, const QString &creative, const QString &name) const;
    void count(const QString &unit, const QString &creative, const QString &name);
    static QJsonObject boundedParameters(const QUrlQuery &query);

    QStringList units_;
    QSet<QString> creatives_;
    int recentCount_;
    std::deque<QJsonObject> recent_;
    std::vector<GroupCommit::Key> staged_;
    GroupCommit &commits_;
    const RequestLog *log_ = nullptr;
    qint64 runNumber_;
    qint64 lastRequestId_ = 0;
};
