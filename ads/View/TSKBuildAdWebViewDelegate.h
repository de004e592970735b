#pragma once

#include "View/TSKWebViewDelegate.h"

#include <functional>

// The hidden page in which the core script builds the ad URL. Should that
// page fail to load (its renderer ended under it), the loader hears of it:
// the script's answer it waits for will never come.
class TSKBuildAdWebViewDelegate : public TSKWebViewDelegate
{
    Q_OBJECT
public:
    explicit TSKBuildAdWebViewDelegate(std::function<void()> loadFailed);

    void webViewDidFailLoadWithError(Velmora::Platform::WebContent *webView, const Velmora::Platform::Error &error) override;

private:
    std::function<void()> loadFailed_;
};
