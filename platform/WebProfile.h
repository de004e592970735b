#pragma once

#include <QByteArray>
#include <QList>

class QWebEngineProfile;

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
    // Must run before the QApplication exists; later names are ignored.
    static void registerSchemes(const QList<QByteArray> &names);
    static bool isSchemeRegistered(const QByteArray &name);

    // Created on first use (after the QApplication), owned by the application.
    static QWebEngineProfile *shared();
};
