#pragma once

#include "View/TSKWebViewDelegate.h"

class TSKWebAppViewControllerPrivate;

// The web app screen's page: the bridge as for any ad page, the landing
// timings, the spinner until the first load, and "onshow" once per
// appearance after the page has loaded.
class TSKWebAppWebViewDelegate : public TSKWebViewDelegate
{
    Q_OBJECT
public:
    explicit TSKWebAppWebViewDelegate(TSKWebAppViewControllerPrivate *webAppPrivate);

    bool pendingOnShow() const { return pendingOnShow_; }
    // Sends "onshow" now when the page is not loading, else once it has loaded.
    void setPendingOnShow(bool pending);
    void postOnShowEvent();

    void webViewDidStartLoad(Velmora::Platform::WebContent *webView) override;
    void webViewDidFinishLoad(Velmora::Platform::WebContent *webView) override;

private:
    TSKWebAppViewControllerPrivate *webAppPrivate_;
    bool pendingOnShow_ = false;
};
