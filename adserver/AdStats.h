#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrlQuery>

#include <deque>

// Counters per ad unit and creative, plus the most recent ad requests with
// their parameters. Only configured units and known creatives get their own
// counters, so clients cannot grow the tables without bound.
class AdStats
{
public:
    AdStats(const QStringList &units, const QStringList &creatives, int recentCount);

    qint64 nextRequestId() { return ++lastRequestId_; }

    // An empty creative means no fill.
    void recordAdRequest(qint64 id, const QString &unit, const QUrlQuery &query, const QString &creative);
    void recordRejected() { ++rejected_; }
    void recordImpression(const QString &unit, const QString &creative);
    void recordClick(const QString &unit, const QString &creative);
    void recordClickThrough(const QString &unit, const QString &creative);

    QJsonObject toJson() const;

private:
    struct CreativeCounts
    {
        qint64 served = 0;
        qint64 impressions = 0;
        qint64 clicks = 0;
        qint64 clickThroughs = 0;
    };
    struct UnitCounts
    {
        qint64 adRequests = 0;
        qint64 noFill = 0;
        QHash<QString, CreativeCounts> creatives;
    };

    CreativeCounts *countsFor(const QString &unit, const QString &creative);

    QHash<QString, UnitCounts> units_;
    int recentCount_;
    std::deque<QJsonObject> recent_;
    qint64 lastRequestId_ = 0;
    qint64 adRequests_ = 0;
    qint64 rejected_ = 0;
    qint64 unattributed_ = 0;
};
