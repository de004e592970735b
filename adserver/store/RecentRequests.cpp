#include "store/RecentRequests.h"

#include "transport/UrlText.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <limits>
#include <map>
#include <set>

namespace {

constexpr qint64 msPerDay = 86'400'000;

qint64 nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

QJsonObject boundedParameters(const ConsentFilter::Parameters &parameters)
{
    QJsonObject bounded;
    qsizetype budget = RecentRequests::parameterBytes;
    for (const auto &[name, value] : parameters) {
        const QString key = QString::fromStdString(name);
        const QString text = QString::fromStdString(value);
        budget -= key.size() + text.size();
        if (budget < 0) {
            bounded.insert(QStringLiteral("truncated"), true);
            break;
        }
        bounded.insert(key, text);
    }
    return bounded;
}

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

}  // namespace

RecentRequests::RecentRequests(int capacity, int retentionDays, int vendorId)
    : capacity_(capacity)
    , retentionDays_(retentionDays)
    , storedConsent_(vendorId)
    , listedConsent_(vendorId)
{
}

void RecentRequests::add(qint64 id, const QString &unit, std::string_view query, const QString &creative)
{
    if (capacity_ == 0)
        return;
    Waiting request{id, nowMs(), unit, creative, std::string(query)};
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(request));
    if (int(waiting_.size()) > capacity_)
        waiting_.pop_front();
}

CountStore::Request RecentRequests::format(const Waiting &request, ConsentFilter &consent)
{
    ConsentFilter::Parameters parameters;
    UrlText::forEachParameter(request.query, [&parameters](std::string name, std::string value) {
        parameters.insert_or_assign(std::move(name), std::move(value));
    });
    QJsonArray withheld;
    for (const std::string &name : consent.withhold(parameters))
        withheld.append(QString::fromStdString(name));
    return {request.id, request.timeMs, request.unit, request.creative, compact(boundedParameters(parameters)),
            QJsonDocument(withheld).toJson(QJsonDocument::Compact)};
}

qint64 RecentRequests::oldestKeptMs() const
{
    return retentionDays_ == 0 ? 0 : nowMs() - retentionDays_ * msPerDay;
}

void RecentRequests::sync(CountStore &store)
{
    std::deque<Waiting> waiting;
    {
        const std::lock_guard lock(mutex_);
        waiting = waiting_;
    }
    // Formatted without the lock: requests keep coming meanwhile.
    CountStore::Requests added;
    for (const Waiting &request : waiting)
        added.push_back(format(request, storedConsent_));
    const auto now = std::chrono::steady_clock::now();
    if (!added.empty() || now - trimmedAt_ >= trimInterval) {
        // Unstored requests wait for the next try. A server that lists none still ages the others' list.
        const int keep = capacity_ > 0 ? capacity_ : std::numeric_limits<int>::max();
        if (!store.addRequests(added, keep, oldestKeptMs()).isEmpty())
            return;
        trimmedAt_ = now;
    }
    if (capacity_ == 0)
        return;
    std::optional<CountStore::Requests> latest = store.latestRequests(capacity_);
    std::set<qint64> stored;
    for (const CountStore::Request &request : added)
        stored.insert(request.id);
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [&stored](const Waiting &request) { return stored.contains(request.id); });
    if (latest)
        stored_ = std::move(*latest);
}

QJsonArray RecentRequests::toJson() const
{
    const std::lock_guard lock(mutex_);
    // By time and id: the stored list and what waits, without repeats.
    std::map<std::pair<qint64, qint64>, CountStore::Request> merged;
    const qint64 oldestKept = oldestKeptMs();
    for (const CountStore::Request &request : stored_) {
        if (request.timeMs >= oldestKept)
            merged.emplace(std::pair(request.timeMs, request.id), request);
    }
    for (const Waiting &request : waiting_)
        merged.emplace(std::pair(request.timeMs, request.id), format(request, listedConsent_));
    QJsonArray list;
    auto first = merged.begin();
    std::advance(first, std::max<qsizetype>(0, qsizetype(merged.size()) - capacity_));
    for (auto entry = first; entry != merged.end(); ++entry) {
        const CountStore::Request &request = entry->second;
        QJsonObject item{
            {QStringLiteral("id"), request.id},
            {QStringLiteral("time"), QDateTime::fromMSecsSinceEpoch(request.timeMs, Qt::UTC).toString(Qt::ISODateWithMs)},
            {QStringLiteral("unit"), request.unit},
            {QStringLiteral("creative"), request.creative},
            {QStringLiteral("parameters"), QJsonDocument::fromJson(request.parameters).object()},
        };
        const QJsonArray withheld = QJsonDocument::fromJson(request.withheld).array();
        if (!withheld.isEmpty())
            item.insert(QStringLiteral("withheld"), withheld);
        list.append(item);
    }
    return list;
}
