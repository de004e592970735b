#pragma once

#include "ViewController/TSKViewControllerPrivate.h"

#include <QPointer>
#include <QUrl>
#include <memory>

class ActivityIndicator;
class QAction;
class QToolBar;
class TSKBrowserWebViewDelegate;
class WebView;

// The in-app browser's widgets and the load asked for before they exist.
// The widgets belong to the browser's view; this only points at them.
class TSKBrowserControllerPrivate : public TSKViewControllerPrivate
{
    Q_OBJECT
public:
    TSKBrowserControllerPrivate();
    ~TSKBrowserControllerPrivate() override;

    ActivityIndicator *spinner = nullptr;
    QAction *spinnerContainingButton = nullptr;
    QAction *doneButton = nullptr;
    QAction *openOutsideButton = nullptr;
    QAction *reloadButton = nullptr;
    QAction *forwardButton = nullptr;
    QAction *backButton = nullptr;
    QToolBar *toolbar = nullptr;
    QPointer<WebView> webView;
    std::unique_ptr<TSKBrowserWebViewDelegate> webViewDelegate;
    QUrl referringURLToLoad;
    QUrl urlToLoad;
};
