#pragma once

#include "Quick/TSKQuickPresenter.h"
#include "Quick/TSKQuickScreen.h"

#include <QUrl>
#include <memory>

class TSKDelegateManager;
class TSKWebAppWebViewDelegate;
namespace Velmora::Platform {
class QuickWebView;
class WebContent;
}

// The web app screen drawn in Qt Quick: the page over the whole screen, the
// library's close button 4 points in from the top left, a spinner until the
// page's first load.
class TSKQuickWebApp : public TSKQuickScreen
{
    Q_OBJECT
public:
    static constexpr int kCloseButtonInset = 4;

    TSKQuickWebApp(QQmlEngine *engine, std::shared_ptr<TSKDelegateManager> delegateManager);
    ~TSKQuickWebApp() override;

    Velmora::Platform::WebContent *webView() const;
    void load(const QUrl &url);
    // Shown at about:blank.
    void loadHTML(const QString &html);

protected:
    void screenDidAppear() override;
    void screenDidDisappear() override;

private:
    std::unique_ptr<TSKWebAppWebViewDelegate> webViewDelegate_;
    // What the page opens goes over this screen.
    TSKQuickPresenter presenter_;
    QQuickItem *chrome_ = nullptr;
    Velmora::Platform::QuickWebView *webView_ = nullptr;
};
