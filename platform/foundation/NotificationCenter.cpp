#include "NotificationCenter.h"

#include <algorithm>

namespace Velmora::Platform {

namespace {

struct Observation
{
    QPointer<QObject> observer;
    const QObject *observerKey;  // identity, still usable after destruction
    QString name;
    const QObject *object;
    NotificationCenter::Handler handler;
    bool removed = false;

    bool matches(const Notification &n) const
    {
        return (name.isNull() || name == n.name()) && (!object || object == n.object());
    }
};

}  // namespace

struct NotificationCenter::Registry
{
    std::vector<std::shared_ptr<Observation>> observations;

    void purgeRemoved()
    {
        std::erase_if(observations, [](const auto &o) { return o->removed || !o->observer; });
    }
};

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Registry>()) {}

NotificationCenter::NotificationCenter(SharesDefaultRegistrations) : registry_(defaultRegistry()) {}

NotificationCenter::~NotificationCenter() = default;

std::shared_ptr<NotificationCenter::Registry> NotificationCenter::defaultRegistry()
{
    static const auto registry = std::make_shared<Registry>();
    return registry;
}

NotificationCenter *NotificationCenter::defaultCenter()
{
    static NotificationCenter *const center = new NotificationCenter(SharesDefaultRegistrations{});
    return center;
}

void NotificationCenter::addObserver(QObject *observer, const QString &name, const QObject *object,
                                     Handler handler)
{
    if (!observer || !handler)
        return;
    registry_->observations.push_back(std::make_shared<Observation>(
        Observation{observer, observer, name, object, std::move(handler)}));
}

void NotificationCenter::postNotification(const Notification &notification)
{
    // A snapshot, because handlers may add or remove observers while we deliver.
    const auto snapshot = registry_->observations;
    for (const auto &observation : snapshot) {
        if (!observation->removed && observation->observer && observation->matches(notification))
            observation->handler(notification);
    }
    registry_->purgeRemoved();
}

void NotificationCenter::postNotificationName(const QString &name, QObject *object,
                                              const QVariantMap &userInfo)
{
    postNotification(Notification(name, object, userInfo));
}

void NotificationCenter::removeObserver(const QObject *observer)
{
    removeObserver(observer, QString(), nullptr);
}

void NotificationCenter::removeObserver(const QObject *observer, const QString &name,
                                        const QObject *object)
{
    for (const auto &observation : registry_->observations) {
        if (observation->observerKey == observer && (name.isNull() || observation->name == name)
            && (!object || observation->object == object))
            observation->removed = true;
    }
    registry_->purgeRemoved();
}

int NotificationCenter::observationCount(const QObject *observer) const
{
    return int(std::count_if(registry_->observations.begin(), registry_->observations.end(),
                             [observer](const auto &o) {
                                 return o->observerKey == observer && !o->removed && o->observer;
                             }));
}

}  // namespace Velmora::Platform
