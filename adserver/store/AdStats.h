#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <deque>
#include <string>
#include <string_view>

class CountStore;
class RequestLog;

// Counters per ad unit and creative, plus the most recent ad requests with
// their parameters. Only configured units and known creatives get their own
// counters, so clients cannot grow the tables without bound, and a recent
// request keeps at most recentParameterBytes of parameters. With a store, the
// counters start from its values and every count is added to it. Not
// thread-safe: the server serialises its calls.
class AdStats
{
public:
    static constexpr qsizetype recentParameterBytes = 4096;

    AdStats(const QStringList &units, const QStringList &creatives, int recentCount, CountStore *store = nullptr);

    qint64 nextRequestId() { return ++lastRequestId_; }

    void recordRequest();  // any HTTP request
    // An empty creative means no fill; `query` as sent, decoded only when the page is built.
    void recordAdRequest(qint64 id, const QString &unit, std::string_view query, const QString &creative);
    void recordRejected();
    void recordImpression(const QString &unit, const QString &creative);
    void recordClick(const QString &unit, const QString &creative);
    void recordClickThrough(const QString &unit, const QString &creative);
    // Where the request log and the store report lost writes.
    void watchStorage(const RequestLog *log) { log_ = log; }

    QJsonObject toJson() const;

private:
    struct CreativeCounts
    {
        qint64 served = 0;
        qint64 impressions = 0;
        qint64 clicks = 0;
        qint64 clickThroughs = 0;
    };
    struct RecentRequest
    {
        qint64 id;
        qint64 timeMs;
        QString unit;
        QString creative;
        std::string query;
    };
    struct UnitCounts
    {
        qint64 adRequests = 0;
        qint64 noFill = 0;
        QHash<QString, CreativeCounts> creatives;
    };

    qint64 *counter(const QString &unit, const QString &creative, const QString &name);
    // Counts one, in memory and in the store; an untracked unit or creative is unattributed.
    void count(const QString &unit, const QString &creative, const QString &name);
    void restore();
    static QJsonObject boundedParameters(std::string_view query);

    QHash<QString, UnitCounts> units_;
    int recentCount_;
    std::deque<RecentRequest> recent_;
    CountStore *store_;
    const RequestLog *log_ = nullptr;
    qint64 lastRequestId_ = 0;
    qint64 requests_ = 0;
    qint64 adRequests_ = 0;
    qint64 rejected_ = 0;
    qint64 unattributed_ = 0;
};
