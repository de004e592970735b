#pragma once

#include <QPointer>
#include <QQuickItem>
#include <QUrl>
#include <memory>

class QQmlEngine;
class QQuickWindow;
class TSKBrowserWebViewDelegate;
class TSKDelegateManager;
namespace Velmora::Platform {
class QuickWebView;
class WebContent;
}

// The in-app browser drawn in Qt Quick over a whole window: the landing
// page above a toolbar with back, forward, reload (a spinner while loading)
// and Done. Like every full-screen ad it tells the banner's delegates as it
// covers and uncovers the window, pauses every banner meanwhile, and keeps
// itself alive until Done (or until its window goes).
class TSKQuickBrowser : public QQuickItem
{
    Q_OBJECT
public:
    static constexpr int kToolbarHeight = 44;

    // Made in `engine`, over `window`'s content.
    static TSKQuickBrowser *present(QQmlEngine *engine, QQuickWindow *window,
                                    std::shared_ptr<TSKDelegateManager> delegateManager);
    ~TSKQuickBrowser() override;

    Velmora::Platform::WebContent *webView() const;
    // The first request carries the referring page as its Referer.
    void loadReferringURL(const QUrl &url, const QUrl &referringURL);

    // The toolbar's buttons.
    Q_INVOKABLE void back();
    Q_INVOKABLE void forward();
    Q_INVOKABLE void reload();
    Q_INVOKABLE void done();

protected:
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private:
    TSKQuickBrowser(QQmlEngine *engine, QQuickWindow *window, std::shared_ptr<TSKDelegateManager> delegateManager);
    void refreshToolbar();

    std::shared_ptr<TSKDelegateManager> delegateManager_;
    std::unique_ptr<TSKBrowserWebViewDelegate> webViewDelegate_;
    QQuickItem *chrome_ = nullptr;
    Velmora::Platform::QuickWebView *webView_ = nullptr;
    bool relinquished_ = false;
};
