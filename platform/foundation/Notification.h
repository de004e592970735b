#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

namespace Velmora::Platform {

// One posted notification: a name, the object that posted it (may be null)
// and a dictionary of details. A value, copied to each observer.
class Notification
{
public:
    Notification() = default;
    Notification(QString name, QObject *object = nullptr, QVariantMap userInfo = {})
        : name_(std::move(name)), object_(object), userInfo_(std::move(userInfo))
    {
    }

    const QString &name() const { return name_; }
    // The poster; only valid during delivery, observers must not keep it.
    QObject *object() const { return object_; }
    const QVariantMap &userInfo() const { return userInfo_; }

private:
    QString name_;
    QObject *object_ = nullptr;
    QVariantMap userInfo_;
};

}  // namespace Velmora::Platform
