#pragma once

#include "store/GroupCommit.h"

#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class RecentRequests;
class RequestLog;

// Counters per ad unit and creative, kept by the group commit, plus the most
// recent ad requests with their parameters. Only configured units and known
// creatives get their own counters, so clients cannot grow the tables without
// bound. Not thread-safe, except store(): the server serialises the rest.
class AdStats
{
public:
    // Request ids start above every earlier run's on the same store.
    AdStats(const QStringList &units, const QStringList &creatives, RecentRequests &recent, GroupCommit &commits, qint64 runNumber);

    qint64 nextRequestId() { return (runNumber_ << 32) + ++lastRequestId_; }

    void recordRequest();  // any HTTP request
    // An empty creative means no fill; `query` as sent, decoded only when the page is built.
    void recordAdRequest(qint64 id, const QString &unit, std::string_view query, const QString &creative);
    void recordRejected();
    // Counted when stored: `done` tells whether it was.
    void recordImpression(const QString &unit, const QString &creative, GroupCommit::Done done);
    void recordClick(const QString &unit, const QString &creative, GroupCommit::Done done);
    void recordClickThrough(const QString &unit, const QString &creative, GroupCommit::Done done);

    // What the requests recorded since the last takeCounts() left to store.
    struct Staged
    {
        std::vector<GroupCommit::Key> counts;
        std::vector<std::pair<GroupCommit::Key, GroupCommit::Done>> durable;
    };
    // A batch must not hold a count before the request log holds its line,
    // so the counts wait here until the caller has recorded it.
    Staged takeCounts() { return std::exchange(staged_, {}); }
    // Any thread.
    void store(Staged staged) const;
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
    void countDurably(const QString &unit, const QString &creative, const QString &name, GroupCommit::Done done);

    QStringList units_;
    QSet<QString> creatives_;
    RecentRequests &recent_;
    Staged staged_;
    GroupCommit &commits_;
    const RequestLog *log_ = nullptr;
    qint64 runNumber_;
    qint64 lastRequestId_ = 0;
};
