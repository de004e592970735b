#pragma once

#include "Quick/TSKQuickScreen.h"
#include "Quick/TSKQuickPresenter.h"

#include <QUrl>
#include <memory>

class TSKBrowserWebViewDelegate;
class TSKDelegateManager;
namespace Velmora::Platform {
class QuickWebView;
class WebContent;
}

// The in-app browser drawn in Qt Quick: the landing page above a toolbar
// with back, forward, reload (a spinner while loading) and Done.
class TSKQuickBrowser : public TSKQuickScreen
{
    Q_OBJECT
public:
    static constexpr int kToolbarHeight = 44;

    TSKQuickBrowser(QQmlEngine *engine, std::shared_ptr<TSKDelegateManager> delegateManager);
    ~TSKQuickBrowser() override;

    Velmora::Platform::WebContent *webView() const;
    // The first request carries the referring page as its Referer.
    void loadReferringURL(const QUrl &url, const QUrl &referringURL);

    // The toolbar's buttons.
    Q_INVOKABLE void back();
    Q_INVOKABLE void forward();
    Q_INVOKABLE void reload();

private:
    void refreshToolbar();

    std::unique_ptr<TSKBrowserWebViewDelegate> webViewDelegate_;
    // What the landing page opens goes over the browser.
    TSKQuickPresenter presenter_;
    QQuickItem *chrome_ = nullptr;
    Velmora::Platform::QuickWebView *webView_ = nullptr;
};
