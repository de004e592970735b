#pragma once

#include "View/TSKWebViewDelegate.h"
#include "WebContentPointer.h"

#include <functional>

// The web app screen's page, however the screen is drawn: the bridge as for
// any ad page, the landing timings, the spinner until the first load,
// "onshow" once per appearance after the page has loaded and "onhide" on
// every disappearance.
class TSKWebAppWebViewDelegate : public TSKWebViewDelegate
{
    Q_OBJECT
public:
    // `firstLoadFinished` takes the screen's spinner away.
    TSKWebAppWebViewDelegate(Velmora::Platform::WebContent *webView, std::function<void()> firstLoadFinished);

    // Every appearance, the first and each return from a screen opened over
    // it: "onshow" now when the page has loaded, else once it has.
    void screenDidAppear();
    void screenDidDisappear();

    void webViewDidStartLoad(Velmora::Platform::WebContent *webView) override;
    void webViewDidFinishLoad(Velmora::Platform::WebContent *webView) override;

private:
    void postOnShowEvent();

    Velmora::Platform::WebContentPointer webView_;
    std::function<void()> firstLoadFinished_;
    bool loaded_ = false;
    bool pendingOnShow_ = false;
};
