#pragma once

#include <QByteArray>
#include <QList>

class QObject;

class QQuickWebEngineProfile;
class QWebEngineProfile;

namespace Velmora::Platform {

// The browsing profile every WebView uses. Pages here come from strangers, so
// it keeps nothing on disk and gives them nothing of the desktop: no local
// files, no downloads, no windows, dialogs, full screen or permissions.
//
// Schemes the engine does not know are dropped before any web view is asked
// about them. A scheme registered here reaches WebViewDelegate as a
// navigation instead, and is never fetched.
class WebProfile
{
public:
    // Must run before the first page is made (before or while the
    // QApplication is constructed); later names are ignored. It also settles
    // the engine's process model (sharedRendererSwitches).
    static void registerSchemes(const QList<QByteArray> &names);
    static bool isSchemeRegistered(const QByteArray &name);

    // Every page shares one renderer process: a page of its own costs about
    // 7 MB and a process start, a page in a shared one about 1 MB.
    // Process-model switches already in QTWEBENGINE_CHROMIUM_FLAGS win.
    static QByteArray sharedRendererSwitches(const QByteArray &engineFlags);

    // Created on first use (after the QApplication), owned by the application.
    static QWebEngineProfile *shared();
    // The same rules for web content drawn in Qt Quick; made on first use.
    static QQuickWebEngineProfile *sharedQuick();
    // The parent of every page, deleted by the application just before the profile.
    static QObject *pageOwner();
    // The application's event loop has ended: nothing deferred runs any more.
    static bool isProgramLeaving();
};

}  // namespace Velmora::Platform
