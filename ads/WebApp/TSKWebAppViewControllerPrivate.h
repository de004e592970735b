#pragma once

#include "ViewController/TSKViewControllerPrivate.h"

#include <QPointer>
#include <QUrl>
#include <memory>

class ActivityIndicator;
class QPushButton;
class TSKWebAppWebViewDelegate;
class WebView;

// The web app screen's widgets and the load asked for before they exist.
class TSKWebAppViewControllerPrivate : public TSKViewControllerPrivate
{
    Q_OBJECT
public:
    TSKWebAppViewControllerPrivate();
    ~TSKWebAppViewControllerPrivate() override;

    QPointer<ActivityIndicator> loadingSpinner;
    bool loaded = false;
    QPointer<QPushButton> closeButton;
    QPointer<WebView> webView;
    std::unique_ptr<TSKWebAppWebViewDelegate> webViewDelegate;
    QUrl htmlBaseURLToLoad;
    QString htmlToLoad;
    QUrl urlToLoad;
};
