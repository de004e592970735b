#include "Notification/TSKNotification.h"

namespace {

const QString tsmsgScheme = QStringLiteral("tsmsg");
const QString tiskosScheme = QStringLiteral("tiskos");

}  // namespace

bool TSKNotification::isTSMSGNotificationURL(const QUrl &url)
{
    return url.scheme() == tsmsgScheme;
}

bool TSKNotification::isTiskosNotificationURL(const QUrl &url)
{
    return url.scheme() == tiskosScheme;
}

bool TSKNotification::isNotificationURL(const QUrl &url)
{
    return isTSMSGNotificationURL(url) || isTiskosNotificationURL(url);
}
