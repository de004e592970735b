#pragma once

#include "View/TSKWebViewDelegate.h"

#include <functional>

// The in-app browser's page: the bridge as for any ad page, plus the landing
// page's timings and navigation counts, and the toolbar (a widget's or a
// Qt Quick one) kept in step.
class TSKBrowserWebViewDelegate : public TSKWebViewDelegate
{
    Q_OBJECT
public:
    explicit TSKBrowserWebViewDelegate(std::function<void()> refreshToolbar);

    bool webViewShouldStartLoad(Velmora::Platform::WebContent *webView, const QNetworkRequest &request, NavigationType type) override;
    void webViewDidStartLoad(Velmora::Platform::WebContent *webView) override;
    void webViewDidFinishLoad(Velmora::Platform::WebContent *webView) override;
    void webViewDidFailLoadWithError(Velmora::Platform::WebContent *webView, const Velmora::Platform::Error &error) override;

private:
    std::function<void()> refreshToolbar_;
};
