#include "store/AdStats.h"

#include "store/RecentRequests.h"
#include "store/RequestLog.h"

#include <algorithm>

AdStats::AdStats(const QStringList &units, const QStringList &creatives, RecentRequests &recent, GroupCommit &commits, qint64 runNumber)
    : units_(units)
    , creatives_(creatives.cbegin(), creatives.cend())
    , recent_(recent)
    , commits_(commits)
    , runNumber_(runNumber)
{
}

bool AdStats::tracked(const QString &unit, const QString &creative, const QString &name) const
{
    const auto oneOf = [&name](std::initializer_list<const char *> names) {
        return std::any_of(names.begin(), names.end(), [&name](const char *candidate) { return name == QLatin1String(candidate); });
    };
    if (unit.isEmpty())
        return oneOf({"requests", "adRequests", "rejected", "unattributed"});
    if (!units_.contains(unit))
        return false;
    if (creative.isEmpty())
        return oneOf({"adRequests", "noFill"});
    return creatives_.contains(creative) && oneOf({"served", "impressions", "clicks", "clickThroughs"});
}

GroupCommit::Key AdStats::attribute(const QString &unit, const QString &creative, const QString &name) const
{
    if (tracked(unit, creative, name))
        return {unit, creative, name};
    return {QString(), QString(), QStringLiteral("unattributed")};
}

void AdStats::count(const QString &unit, const QString &creative, const QString &name)
{
    staged_.counts.push_back(attribute(unit, creative, name));
}

void AdStats::recordRequest()
{
    count({}, {}, QStringLiteral("requests"));
}

void AdStats::recordRejected()
{
    count({}, {}, QStringLiteral("rejected"));
}

void AdStats::recordAdRequest(qint64 id, const QString &unit, std::string_view query, const QString &creative)
{
    count({}, {}, QStringLiteral("adRequests"));
    if (units_.contains(unit)) {
        count(unit, {}, QStringLiteral("adRequests"));
        if (creative.isEmpty())
            count(unit, {}, QStringLiteral("noFill"));
        else if (creatives_.contains(creative))
            count(unit, creative, QStringLiteral("served"));
    }
    recent_.add(id, unit, query, creative);
}

void AdStats::countDurably(const QString &unit, const QString &creative, const QString &name, GroupCommit::Done done)
{
    staged_.durable.emplace_back(attribute(unit, creative, name), std::move(done));
}

void AdStats::recordImpression(const QString &unit, const QString &creative, GroupCommit::Done done)
{
    countDurably(unit, creative, QStringLiteral("impressions"), std::move(done));
}

void AdStats::recordClick(const QString &unit, const QString &creative, GroupCommit::Done done)
{
    countDurably(unit, creative, QStringLiteral("clicks"), std::move(done));
}

void AdStats::recordClickThrough(const QString &unit, const QString &creative, GroupCommit::Done done)
{
    countDurably(unit, creative, QStringLiteral("clickThroughs"), std::move(done));
}

void AdStats::store(Staged staged) const
{
    commits_.add(staged.counts);
    for (auto &[key, done] : staged.durable)
        commits_.addDurably(key, std::move(done));
}

QJsonObject AdStats::toJson() const
{
    const GroupCommit::Counts counts = commits_.counts();
    const auto value = [&counts](const QString &unit, const QString &creative, const char *name) {
        const auto found = counts.find({unit, creative, QString::fromLatin1(name)});
        return found == counts.end() ? qint64(0) : found->second;
    };
    QJsonObject units;
    for (const QString &unit : units_) {
        QJsonObject creatives;
        qint64 impressions = 0;
        qint64 clicks = 0;
        for (const QString &creative : creatives_) {
            impressions += value(unit, creative, "impressions");
            clicks += value(unit, creative, "clicks");
            creatives.insert(creative, QJsonObject{
                {QStringLiteral("served"), value(unit, creative, "served")},
                {QStringLiteral("impressions"), value(unit, creative, "impressions")},
                {QStringLiteral("clicks"), value(unit, creative, "clicks")},
                {QStringLiteral("clickThroughs"), value(unit, creative, "clickThroughs")},
            });
        }
        units.insert(unit, QJsonObject{
            {QStringLiteral("adRequests"), value(unit, {}, "adRequests")},
            {QStringLiteral("noFill"), value(unit, {}, "noFill")},
            {QStringLiteral("impressions"), impressions},
            {QStringLiteral("clicks"), clicks},
            {QStringLiteral("creatives"), creatives},
        });
    }
    return QJsonObject{
        {QStringLiteral("requests"), value({}, {}, "requests")},
        {QStringLiteral("adRequests"), value({}, {}, "adRequests")},
        {QStringLiteral("rejected"), value({}, {}, "rejected")},
        {QStringLiteral("unattributed"), value({}, {}, "unattributed")},
        {QStringLiteral("units"), units},
        {QStringLiteral("recent"), recent_.toJson()},
        {QStringLiteral("storage"), QJsonObject{
            {QStringLiteral("logLinesLost"), log_ ? log_->linesLost() : 0},
            {QStringLiteral("failedCountCommits"), commits_.failedBatches()},
            {QStringLiteral("countsStored"), commits_.accepting()},
        }},
    };
}
