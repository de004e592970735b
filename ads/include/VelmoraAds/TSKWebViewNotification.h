#pragma once

#include <QString>

/// What the ad library announces on Velmora::Platform::NotificationCenter's
/// default center, for programs that want to watch their ads' pages.
namespace TSKWebViewNotification {

/// Posted for every navigation an ad page starts, with the page's web view as
/// the object. The user info holds the URL under URLKey and, for a message
/// from the page to the library, its name under ActionKey.
inline const QString DidReceiveWebAction = QStringLiteral("didReceiveWebAction");
inline const QString URLKey = QStringLiteral("u");
inline const QString ActionKey = QStringLiteral("a");

}  // namespace TSKWebViewNotification
