#pragma once

#include "NotificationCenter.h"

#include <QUrl>
#include <QVariantMap>

#include <optional>

namespace Velmora::Platform {
class WebContent;
}

// The ad library's view of the process's one notification center: it adds
// posting from page bridge URLs and messages from native code to a page.
// Observers added through it or through NotificationCenter::defaultCenter()
// are the same registrations.
class TSKNotificationCenter : public Velmora::Platform::NotificationCenter
{
    Q_OBJECT
public:
    static TSKNotificationCenter *defaultCenter();

    // Posts the URL's message, with the object as poster and the message's
    // parameters as user info; a URL that is no message posts nothing.
    void postNotificationFromURLObject(const QUrl &url, QObject *object);
    // The same after the delay (0: on the next turn of the event loop, so
    // that observers do not run inside the web view's callback). Dropped if
    // the object is destroyed first.
    void postNotificationFromURLObjectWithDelay(const QUrl &url, QObject *object, double delay);

    // Calls the page's message function: TISKOS_ReceiveMessage('name', {json})
    // or, without user info, TISKOS_ReceiveMessage('name'). Its result is ignored.
    void postJSNotificationUserInfoWebView(const QString &name, const std::optional<QVariantMap> &userInfo,
                                           Velmora::Platform::WebContent *webView);

private:
    TSKNotificationCenter();
};
