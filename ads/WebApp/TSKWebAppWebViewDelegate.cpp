#include "WebApp/TSKWebAppWebViewDelegate.h"

#include "ActivityIndicator.h"
#include "Notification/TSKNotificationCenter.h"
#include <VelmoraAds/TSKRequest.h>
#include "Statistics/TSKStatistics.h"
#include "WebApp/TSKWebAppViewControllerPrivate.h"
#include "WebView.h"

using namespace Velmora::Platform;

TSKWebAppWebViewDelegate::TSKWebAppWebViewDelegate(TSKWebAppViewControllerPrivate *webAppPrivate)
    : webAppPrivate_(webAppPrivate)
{
}

void TSKWebAppWebViewDelegate::setPendingOnShow(bool pending)
{
    pendingOnShow_ = pending;
    if (webAppPrivate_->webView && !webAppPrivate_->webView->isLoading() && webAppPrivate_->loaded)
        postOnShowEvent();
}

void TSKWebAppWebViewDelegate::postOnShowEvent()
{
    if (!std::exchange(pendingOnShow_, false))
        return;
    TSKNotificationCenter::defaultCenter()->postJSNotificationUserInfoWebView(
        QStringLiteral("onshow"), QVariantMap{{QStringLiteral("version"), TSKRequest::sdkVersion()}},
        webAppPrivate_->webView);
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
    if (!std::exchange(webAppPrivate_->loaded, true) && webAppPrivate_->loadingSpinner) {
        webAppPrivate_->loadingSpinner->stopAnimating();
        webAppPrivate_->loadingSpinner->deleteLater();
        webAppPrivate_->loadingSpinner = nullptr;
    }
    postOnShowEvent();
}
