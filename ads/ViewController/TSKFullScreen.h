#pragma once

#include <QString>

// What banners need to know of the library's full-screen ad screens: the
// notifications with which one covers and uncovers the application (every
// banner pauses its reloads meanwhile), and the orientation codes they use.
namespace TSKFullScreen {

inline const QString WillPresentNotification = QStringLiteral("TSKViewControllerWillPresentFullScreen");
inline const QString DidRelinquishNotification = QStringLiteral("TSKViewControllerDidRelinquishFullScreen");

enum Orientation { NotSet = 0, Any = 1, Portrait = 2, Landscape = 3 };

// "any", "portrait" or "landscape"; anything else (null included) is NotSet.
inline int orientationFromString(const QString &text)
{
    if (text == QLatin1String("any"))
        return Any;
    if (text == QLatin1String("portrait"))
        return Portrait;
    if (text == QLatin1String("landscape"))
        return Landscape;
    return NotSet;
}

}  // namespace TSKFullScreen
