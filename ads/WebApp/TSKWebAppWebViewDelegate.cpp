#include "WebApp/TSKWebAppWebViewDelegate.h"

#include "Notification/TSKNotificationCenter.h"
#include "Statistics/TSKStatistics.h"
#include <VelmoraAds/TSKRequest.h>

using namespace Velmora::Platform;

TSKWebAppWebViewDelegate::TSKWebAppWebViewDelegate(WebContent *webView, std::function<void()> firstLoadFinished)
    : webView_(webView), firstLoadFinished_(std::move(firstLoadFinished))
{
}

void TSKWebAppWebViewDelegate::screenDidAppear()
{
    pendingOnShow_ = true;
    if (webView_ && !webView_->isLoading() && loaded_)
        postOnShowEvent();
}

void TSKWebAppWebViewDelegate::screenDidDisappear()
{
    TSKNotificationCenter::defaultCenter()->postJSNotificationUserInfoWebView(QStringLiteral("onhide"), std::nullopt,
                                                                           webView_);
}

void TSKWebAppWebViewDelegate::postOnShowEvent()
{
    if (!std::exchange(pendingOnShow_, false))
        return;
    TSKNotificationCenter::defaultCenter()->postJSNotificationUserInfoWebView(
        QStringLiteral("onshow"), QVariantMap{{QStringLiteral("version"), TSKRequest::sdkVersion()}}, webView_);
}

void TSKWebAppWebViewDelegate::webViewDidStartLoad(WebContent *)
{
    if (!TSKStatistics::sharedStatistics()->isTimingActive(QStringLiteral("plpl")))
        TSKStatistics::sharedStatistics()->startTimingNamed(QStringLiteral("plpl"));
}

void TSKWebAppWebViewDelegate::webViewDidFinishLoad(WebContent *webView)
{
    if (!TSKStatistics::sharedStatistics()->isTimingActive(QStringLiteral("plpd"))) {
        TSKStatistics::sharedStatistics()->endTimingNamed(QStringLiteral("plpl"));
        TSKStatistics::sharedStatistics()->startTimingNamed(QStringLiteral("plpd"));
    }
    TSKWebViewDelegate::webViewDidFinishLoad(webView);
    if (!std::exchange(loaded_, true) && firstLoadFinished_)
        firstLoadFinished_();
    postOnShowEvent();
}
