#pragma once

#include "ViewController/TSKViewControllerPrivate.h"

#include <QPointer>
#include <QUrl>
#include <memory>

namespace Velmora::Platform {
class ActivityIndicator;
class WebView;
}
class QAction;
class QToolBar;
class TSKBrowserWebViewDelegate;

// The in-app browser's widgets and the load asked for before they exist.
// The widgets belong to the browser's view; this only points at them.
class TSKBrowserControllerPrivate : public TSKViewControllerPrivate
{
    Q_OBJECT
public:
    TSKBrowserControllerPrivate();
    ~TSKBrowserControllerPrivate() override;

    Velmora::Platform::ActivityIndicator *spinner = nullptr;
    QAction *spinnerContainingButton = nullptr;
    QAction *doneButton = nullptr;
    QAction *openOutsideButton = nullptr;
    QAction *reloadButton = nullptr;
    QAction *forwardButton = nullptr;
    QAction *backButton = nullptr;
    QToolBar *toolbar = nullptr;
    QPointer<Velmora::Platform::WebView> webView;
    std::unique_ptr<TSKBrowserWebViewDelegate> webViewDelegate;
    QUrl referringURLToLoad;
    QUrl urlToLoad;
};
