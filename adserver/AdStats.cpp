#include "AdStats.h"

#include <QDateTime>
#include <QJsonArray>

AdStats::AdStats(const QStringList &units, const QStringList &creatives, int recentCount)
    : recentCount_(recentCount)
{
    for (const QString &unit : units) {
        UnitCounts &counts = units_[unit];
        for (const QString &creative : creatives)
            counts.creatives.insert(creative, {});
    }
}

void AdStats::recordAdRequest(qint64 id, const QString &unit, const QUrlQuery &query, const QString &creative)
{
    ++adRequests_;
    if (CreativeCounts *counts = countsFor(unit, creative))
        ++counts->served;
    if (auto found = units_.find(unit); found != units_.end()) {
        ++found->adRequests;
        if (creative.isEmpty())
            ++found->noFill;
    }
    if (recentCount_ == 0)
        return;
    QJsonObject parameters;
    for (const auto &[key, value] : query.queryItems(QUrl::FullyDecoded))
        parameters.insert(key, value);
    recent_.push_back(QJsonObject{
        {QStringLiteral("id"), id},
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("unit"), unit},
        {QStringLiteral("creative"), creative},
        {QStringLiteral("parameters"), parameters},
    });
    if (int(recent_.size()) > recentCount_)
        recent_.pop_front();
}

void AdStats::recordImpression(const QString &unit, const QString &creative)
{
    if (CreativeCounts *counts = countsFor(unit, creative))
        ++counts->impressions;
    else
        ++unattributed_;
}

void AdStats::recordClick(const QString &unit, const QString &creative)
{
    if (CreativeCounts *counts = countsFor(unit, creative))
        ++counts->clicks;
    else
        ++unattributed_;
}

void AdStats::recordClickThrough(const QString &unit, const QString &creative)
{
    if (CreativeCounts *counts = countsFor(unit, creative))
        ++counts->clickThroughs;
    else
        ++unattributed_;
}

AdStats::CreativeCounts *AdStats::countsFor(const QString &unit, const QString &creative)
{
    auto found = units_.find(unit);
    if (found == units_.end())
        return nullptr;
    auto counts = found->creatives.find(creative);
    return counts == found->creatives.end() ? nullptr : &counts.value();
}

QJsonObject AdStats::toJson() const
{
    QJsonObject units;
    for (auto unit = units_.cbegin(); unit != units_.cend(); ++unit) {
        QJsonObject creatives;
        qint64 impressions = 0;
        qint64 clicks = 0;
        for (auto c = unit->creatives.cbegin(); c != unit->creatives.cend(); ++c) {
            impressions += c->impressions;
            clicks += c->clicks;
            creatives.insert(c.key(), QJsonObject{
                {QStringLiteral("served"), c->served},
                {QStringLiteral("impressions"), c->impressions},
                {QStringLiteral("clicks"), c->clicks},
                {QStringLiteral("clickThroughs"), c->clickThroughs},
            });
        }
        units.insert(unit.key(), QJsonObject{
            {QStringLiteral("adRequests"), unit->adRequests},
            {QStringLiteral("noFill"), unit->noFill},
            {QStringLiteral("impressions"), impressions},
            {QStringLiteral("clicks"), clicks},
            {QStringLiteral("creatives"), creatives},
        });
    }
    QJsonArray recent;
    for (const QJsonObject &request : recent_)
        recent.append(request);
    return QJsonObject{
        {QStringLiteral("adRequests"), adRequests_},
        {QStringLiteral("rejected"), rejected_},
        {QStringLiteral("unattributed"), unattributed_},
        {QStringLiteral("units"), units},
        {QStringLiteral("recent"), recent},
    };
}
