#pragma once

#include "ViewController/TSKViewControllerPrivate.h"

#include <QPointer>
#include <QUrl>
#include <memory>

namespace Velmora::Platform {
class ActivityIndicator;
class WebView;
}
class QPushButton;
class TSKWebAppWebViewDelegate;

// The web app screen's widgets and the load asked for before they exist.
class TSKWebAppViewControllerPrivate : public TSKViewControllerPrivate
{
    Q_OBJECT
public:
    TSKWebAppViewControllerPrivate();
    ~TSKWebAppViewControllerPrivate() override;

    QPointer<Velmora::Platform::ActivityIndicator> loadingSpinner;
    QPointer<QPushButton> closeButton;
    QPointer<Velmora::Platform::WebView> webView;
    std::unique_ptr<TSKWebAppWebViewDelegate> webViewDelegate;
    QUrl htmlBaseURLToLoad;
    QString htmlToLoad;
    QUrl urlToLoad;
};
