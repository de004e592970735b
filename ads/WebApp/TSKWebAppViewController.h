#pragma once

#include "ViewController/TSKViewController.h"

#include <QUrl>

class TSKWebAppViewControllerPrivate;
namespace Velmora::Platform {
class WebView;
}

// A rich ad as a full-screen page: a close button in the corner and a
// spinner until the page has loaded. The page hears "onshow" once per
// appearance and "onhide" on every disappearance, and may close itself.
class TSKWebAppViewController : public TSKViewController
{
    Q_OBJECT
public:
    static constexpr int kCloseButtonInset = 4;

    explicit TSKWebAppViewController(QObject *parent = nullptr);

    Velmora::Platform::WebView *webView() const;

    void load(const QUrl &url);
    // A null base URL shows the page at about:blank.
    void loadHTMLBaseURL(const QString &html, const QUrl &baseURL);

    void viewWillAppear(bool animated) override;
    void viewDidAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;

private:
    TSKWebAppViewControllerPrivate *vars() const;
    void buildWebView();
    void startPendingLoad();
    void buildCloseButton();
    void showLoadingSpinner();
    void hideLoadingSpinner();
};
