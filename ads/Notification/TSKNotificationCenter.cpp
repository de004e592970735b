#include "Notification/TSKNotificationCenter.h"

#include "DelayedPerform.h"
#include "Notification/TSKNotification.h"
#include "Utility/TSKMacros.h"
#include "WebContent.h"

#include <QPointer>

using namespace Velmora::Platform;

namespace {

const QString pageMessageFunction = QStringLiteral("TISKOS_ReceiveMessage");

}  // namespace

TSKNotificationCenter::TSKNotificationCenter() : NotificationCenter(SharesDefaultRegistrations{})
{
}

TSKNotificationCenter *TSKNotificationCenter::defaultCenter()
{
    static TSKNotificationCenter *const center = new TSKNotificationCenter;
    return center;
}

void TSKNotificationCenter::postNotificationFromURLObject(const QUrl &url, QObject *object)
{
    const std::optional<TSKNotification> notification = TSKNotification::notificationFromURL(url);
    if (!notification)
        return;
    postNotificationName(notification->name(), object, notification->parameters().value_or(QVariantMap()));
}

void TSKNotificationCenter::postNotificationFromURLObjectWithDelay(const QUrl &url, QObject *object, double delay)
{
    const QPointer<QObject> poster = object;
    const bool hasPoster = object;
    performAfterDelay(
        this,
        [this, url, poster, hasPoster] {
            if (hasPoster && !poster)
                return;
            postNotificationFromURLObject(url, poster);
        },
        delay);
}

void TSKNotificationCenter::postJSNotificationUserInfoWebView(const QString &name,
                                                              const std::optional<QVariantMap> &userInfo,
                                                              WebContent *webView)
{
    if (!webView)
        return;
    const QString script = userInfo
        ? QStringLiteral("%1('%2', %3);").arg(pageMessageFunction, name, TSKMacros::jsonify(*userInfo))
        : QStringLiteral("%1('%2');").arg(pageMessageFunction, name);
    webView->evaluateJavaScript(script);
}
