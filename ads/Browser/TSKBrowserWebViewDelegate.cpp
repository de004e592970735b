#include "Browser/TSKBrowserWebViewDelegate.h"

#include "Statistics/TSKStatistics.h"

using namespace Velmora::Platform;

namespace {

const QString kLandingPageLoad = QStringLiteral("plpl");
const QString kLandingPageDuration = QStringLiteral("plpd");


}  // namespace

TSKBrowserWebViewDelegate::TSKBrowserWebViewDelegate(std::function<void()> refreshToolbar)
    : refreshToolbar_(std::move(refreshToolbar))
{
}

bool TSKBrowserWebViewDelegate::webViewShouldStartLoad(WebContent *webView, const QNetworkRequest &request,
                                                       NavigationType type)
{
    if (type == LinkClicked || type == FormSubmitted) {
        const QString scheme = request.url().scheme().toLower();
        if (scheme == QLatin1String("http"))
            TSKStatistics::sharedStatistics()->incrementPageNavigationCount();
        else if (scheme == QLatin1String("https"))
            TSKStatistics::sharedStatistics()->incrementSSLPageNavigationCount();
    }
    return TSKWebViewDelegate::webViewShouldStartLoad(webView, request, type);
}

void TSKBrowserWebViewDelegate::webViewDidStartLoad(WebContent *)
{
    if (!TSKStatistics::sharedStatistics()->isTimingActive(kLandingPageLoad))
        TSKStatistics::sharedStatistics()->startTimingNamed(kLandingPageLoad);
    refreshToolbar_();
}

void TSKBrowserWebViewDelegate::webViewDidFinishLoad(WebContent *webView)
{
    if (!TSKStatistics::sharedStatistics()->isTimingActive(kLandingPageDuration)) {
        TSKStatistics::sharedStatistics()->endTimingNamed(kLandingPageLoad);
        TSKStatistics::sharedStatistics()->startTimingNamed(kLandingPageDuration);
    }
    TSKWebViewDelegate::webViewDidFinishLoad(webView);
    refreshToolbar_();
}

void TSKBrowserWebViewDelegate::webViewDidFailLoadWithError(WebContent *, const Error &)
{
    refreshToolbar_();
}
