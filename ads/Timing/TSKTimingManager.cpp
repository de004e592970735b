#include "Timing/TSKTimingManager.h"

#include "Application.h"
#include "NotificationCenter.h"
#include "UserDefaults.h"

using namespace Velmora::Platform;

TSKTimingManager::TSKTimingManager(const QString &identifier, QObject *parent)
    : QObject(parent), identifier_(identifier)
{
    loadPersistentTimings();
    NotificationCenter::defaultCenter()->addObserver(this, Application::WillTerminateNotification, nullptr,
                                                     [this](const Notification &) { savePersistentTimings(); });
}

TSKTimingManager::~TSKTimingManager()
{
    NotificationCenter::defaultCenter()->removeObserver(this);
    savePersistentTimings();
}

std::map<QString, std::unique_ptr<TSKTiming>> TSKTimingManager::timingsFromStoredForm(const QVariant &stored)
{
    std::map<QString, std::unique_ptr<TSKTiming>> timings;
    const QVariantMap entries = stored.toMap();
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        std::optional<TSKTiming> timing = TSKTiming::fromDictionaryRepresentation(it.value());
        if (timing)
            timings[it.key()] = std::make_unique<TSKTiming>(std::move(*timing));
    }
    return timings;
}

QString TSKTimingManager::identifier() const
{
    return identifier_;
}

QString TSKTimingManager::userDefaultsKey() const
{
    return QStringLiteral("tiskos_timing_%1").arg(identifier_);
}

void TSKTimingManager::addTiming(const TSKTiming &timing)
{
    timings_[timing.category()] = std::make_unique<TSKTiming>(timing);
}

TSKTiming *TSKTimingManager::addTimingWithCategory(const QString &category)
{
    if (category.isNull())
        return nullptr;
    auto &slot = timings_[category];
    slot = std::make_unique<TSKTiming>(category);
    return slot.get();
}

TSKTiming *TSKTimingManager::timingForCategory(const QString &category) const
{
    const auto it = timings_.find(category);
    return it == timings_.end() ? nullptr : it->second.get();
}

void TSKTimingManager::removeTimingForCategory(const QString &category)
{
    timings_.erase(category);
}

void TSKTimingManager::removeTiming(const TSKTiming *timing)
{
    if (timing)
        removeTimingForCategory(timing->category());
}

void TSKTimingManager::removeTimingsForCategories(const QStringList &categories)
{
    for (const QString &category : categories)
        removeTimingForCategory(category);
}

void TSKTimingManager::removeAllTimings()
{
    timings_.clear();
}

QStringList TSKTimingManager::categories() const
{
    QStringList categories;
    for (const auto &[category, timing] : timings_)
        categories.append(category);
    return categories;
}

std::vector<TSKTiming *> TSKTimingManager::timings() const
{
    std::vector<TSKTiming *> timings;
    for (const auto &[category, timing] : timings_)
        timings.push_back(timing.get());
    return timings;
}

void TSKTimingManager::synchronize()
{
    savePersistentTimings();
}

void TSKTimingManager::setPersistent(bool persistent)
{
    if (persistent == persistent_)
        return;
    if (!persistent) {
        timings_.clear();
        savePersistentTimings();
    }
    persistent_ = persistent;
    savePersistentTimings();
}

void TSKTimingManager::savePersistentTimings()
{
    if (!persistent_)
        return;
    QVariantMap stored;
    for (const auto &[category, timing] : timings_)
        stored.insert(category, timing->dictionaryRepresentation());
    UserDefaults &defaults = UserDefaults::standard();
    defaults.setObjectForKey(stored, userDefaultsKey());
    defaults.synchronize();
}

void TSKTimingManager::loadPersistentTimings()
{
    timings_ = timingsFromStoredForm(UserDefaults::standard().objectForKey(userDefaultsKey()));
}
