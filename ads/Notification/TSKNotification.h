#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// One message from an ad page to native code, parsed from a URL of one of the
// two bridge schemes: "tsmsg" (the name is the path) and the older "tiskos"
// (the host picks the action).
class TSKNotification
{
public:
    static bool isTSMSGNotificationURL(const QUrl &url);
    static bool isTiskosNotificationURL(const QUrl &url);
    static bool isNotificationURL(const QUrl &url);
};
