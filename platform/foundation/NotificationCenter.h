#pragma once

#include "Notification.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <vector>

namespace Velmora::Platform {

// Named notifications delivered synchronously, in registration order, to the
// observers whose name and object filters match.
//
// Filters: a null name matches every name, a null object every poster. The
// object filter compares identity only, so it is never dereferenced.
//
// An observer is a QObject; once it is destroyed its registrations are
// skipped and dropped, so forgetting to remove one is harmless. Removing or
// adding observers from inside a handler is allowed: a post delivers to the
// registrations that existed when it started and were not removed since.
//
// GUI thread only, like everything that talks to it.
class NotificationCenter : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<void(const Notification &)>;

    NotificationCenter();
    ~NotificationCenter() override;

    // The process-wide center, created on first use and never destroyed.
    static NotificationCenter *defaultCenter();

    void addObserver(QObject *observer, const QString &name, const QObject *object, Handler handler);

    template <class T>
    void addObserver(T *observer, void (T::*method)(const Notification &), const QString &name,
                     const QObject *object = nullptr)
    {
        addObserver(observer, name, object,
                    [observer, method](const Notification &n) { (observer->*method)(n); });
    }

    void postNotification(const Notification &notification);
    void postNotificationName(const QString &name, QObject *object = nullptr,
                              const QVariantMap &userInfo = {});

    // Removes every registration of the observer.
    void removeObserver(const QObject *observer);
    // Removes the observer's registrations matching both arguments; a null
    // name or object matches any, as when posting.
    void removeObserver(const QObject *observer, const QString &name, const QObject *object);

    // Live registrations of the observer (tests and diagnostics).
    int observationCount(const QObject *observer) const;

protected:
    // For subclasses that extend the default center rather than being a
    // second one: the new object shares the default center's registrations,
    // so observers added through either are seen and removed through both.
    struct SharesDefaultRegistrations {};
    explicit NotificationCenter(SharesDefaultRegistrations);

private:
    struct Registry;
    std::shared_ptr<Registry> registry_;

    static std::shared_ptr<Registry> defaultRegistry();
};

}  // namespace Velmora::Platform
