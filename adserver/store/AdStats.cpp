#include "store/AdStats.h"

#include "store/CountStore.h"
#include "store/RequestLog.h"
#include "transport/UrlText.h"

#include <QDateTime>
#include <QJsonArray>

#include <chrono>

AdStats::AdStats(const QStringList &units, const QStringList &creatives, int recentCount, CountStore *store)
    : recentCount_(recentCount)
    , store_(store)
{
    for (const QString &unit : units) {
        UnitCounts &counts = units_[unit];
        for (const QString &creative : creatives)
            counts.creatives.insert(creative, {});
    }
    restore();
}

void AdStats::restore()
{
    if (!store_)
        return;
    for (const auto &[key, value] : store_->load()) {
        const auto &[unit, creative, name] = key;
        if (qint64 *counts = counter(unit, creative, name))
            *counts = value;
    }
    lastRequestId_ = adRequests_;
}

qint64 *AdStats::counter(const QString &unit, const QString &creative, const QString &name)
{
    const auto pick = [&name](std::initializer_list<std::pair<const char *, qint64 *>> named) -> qint64 * {
        for (const auto &[candidate, value] : named) {
            if (name == QLatin1String(candidate))
                return value;
        }
        return nullptr;
    };
    if (unit.isEmpty())
        return pick({{"requests", &requests_}, {"adRequests", &adRequests_}, {"rejected", &rejected_}, {"unattributed", &unattributed_}});
    auto found = units_.find(unit);
    if (found == units_.end())
        return nullptr;
    if (creative.isEmpty())
        return pick({{"adRequests", &found->adRequests}, {"noFill", &found->noFill}});
    auto counts = found->creatives.find(creative);
    if (counts == found->creatives.end())
        return nullptr;
    return pick({{"served", &counts->served}, {"impressions", &counts->impressions}, {"clicks", &counts->clicks},
                 {"clickThroughs", &counts->clickThroughs}});
}

void AdStats::count(const QString &unit, const QString &creative, const QString &name)
{
    qint64 *counts = counter(unit, creative, name);
    const QString tracked = counts ? name : QStringLiteral("unattributed");
    if (!counts)
        counts = &unattributed_;
    ++*counts;
    if (store_)
        store_->add(counts == &unattributed_ ? QString() : unit, counts == &unattributed_ ? QString() : creative, tracked);
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
        else if (counter(unit, creative, QStringLiteral("served")))
            count(unit, creative, QStringLiteral("served"));
    }
    if (recentCount_ == 0)
        return;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    recent_.push_back({id, std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), unit, creative, std::string(query)});
    if (int(recent_.size()) > recentCount_)
        recent_.pop_front();
}

QJsonObject AdStats::boundedParameters(std::string_view query)
{
    QJsonObject parameters;
    qsizetype budget = recentParameterBytes;
    UrlText::forEachParameter(query, [&](const std::string &name, const std::string &value) {
        if (budget < 0)
            return;
        const QString key = QString::fromStdString(name);
        const QString text = QString::fromStdString(value);
        const qsizetype size = key.size() + text.size();
        if (size > budget) {
            parameters.insert(QStringLiteral("truncated"), true);
            budget = -1;
            return;
        }
        budget -= size;
        parameters.insert(key, text);
    });
    return parameters;
}

void AdStats::recordImpression(const QString &unit, const QString &creative)
{
    count(unit, creative, QStringLiteral("impressions"));
}

void AdStats::recordClick(const QString &unit, const QString &creative)
{
    count(unit, creative, QStringLiteral("clicks"));
}

void AdStats::recordClickThrough(const QString &unit, const QString &creative)
{
    count(unit, creative, QStringLiteral("clickThroughs"));
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
    for (const RecentRequest &request : recent_) {
        recent.append(QJsonObject{
            {QStringLiteral("id"), request.id},
            {QStringLiteral("time"), QDateTime::fromMSecsSinceEpoch(request.timeMs, Qt::UTC).toString(Qt::ISODateWithMs)},
            {QStringLiteral("unit"), request.unit},
            {QStringLiteral("creative"), request.creative},
            {QStringLiteral("parameters"), boundedParameters(request.query)},
        });
    }
    return QJsonObject{
        {QStringLiteral("requests"), requests_},
        {QStringLiteral("adRequests"), adRequests_},
        {QStringLiteral("rejected"), rejected_},
        {QStringLiteral("unattributed"), unattributed_},
        {QStringLiteral("units"), units},
        {QStringLiteral("recent"), recent},
        {QStringLiteral("storage"), QJsonObject{
            {QStringLiteral("logLinesLost"), log_ ? log_->linesLost() : 0},
            {QStringLiteral("failedCountCommits"), store_ ? store_->failedCommits() : 0},
        }},
    };
}
