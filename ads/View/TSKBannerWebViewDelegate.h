#pragma once

#include "View/TSKWebViewDelegate.h"

class TSKObjectPrivate;

// The banner's own page: while it loads, the bridge as for any ad page; once
// the ad is on screen the page stays put, and whatever it would load becomes
// a click that the opener carries out.
class TSKBannerWebViewDelegate : public TSKWebViewDelegate
{
    Q_OBJECT
public:
    // Becomes the delegate of the loader's web view.
    explicit TSKBannerWebViewDelegate(TSKObjectPrivate *objectPrivate);
    ~TSKBannerWebViewDelegate() override;

    bool webViewShouldStartLoad(Velmora::Platform::WebContent *webView, const QNetworkRequest &request, NavigationType type) override;
    void webViewDidFinishLoad(Velmora::Platform::WebContent *webView) override;
    void webViewDidFailLoadWithError(Velmora::Platform::WebContent *webView, const Velmora::Platform::Error &error) override;

private:
    void showAd();

    TSKObjectPrivate *private_;
};
