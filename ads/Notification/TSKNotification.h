#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// One message from an ad page to native code, parsed from a URL of one of the
// two bridge schemes: "tsmsg" (the name is the path, the host is not looked
// at) and the older "tiskos" (the host picks the action).
class TSKNotification
{
public:
    static bool isTSMSGNotificationURL(const QUrl &url);
    static bool isTiskosNotificationURL(const QUrl &url);
    static bool isNotificationURL(const QUrl &url);

    // Empty for a URL of another scheme and for an unknown "tiskos" action.
    static std::optional<TSKNotification> notificationFromURL(const QUrl &url);

    QString name() const { return name_; }
    // The message's arguments (query keys lowercased); none for "close".
    std::optional<QVariantMap> parameters() const { return parameters_; }

    QString description() const;

private:
    TSKNotification(const QString &name, const std::optional<QVariantMap> &parameters);

    static std::optional<TSKNotification> fromTSMSGURL(const QUrl &url);
    static std::optional<TSKNotification> fromTiskosURL(const QUrl &url);

    std::optional<QVariantMap> parameters_;
    QString name_;
};
