#include "View/TSKBannerWebViewDelegate.h"

#include "Delegate/TSKDelegateManager.h"
#include "Object/TSKObjectPrivate.h"
#include "Opener/TSKOpener.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Request/TSKRequestPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "URLConnection.h"
#include "ViewController/TSKFullScreen.h"
#include "WebContent.h"

using namespace Velmora::Platform;

TSKBannerWebViewDelegate::TSKBannerWebViewDelegate(TSKObjectPrivate *objectPrivate) : private_(objectPrivate)
{
    if (WebContent *webView = private_->webView())
        webView->setDelegate(this);
}

TSKBannerWebViewDelegate::~TSKBannerWebViewDelegate()
{
    if (WebContent *webView = private_->webView())
        webView->setDelegate(nullptr);
}

bool TSKBannerWebViewDelegate::webViewShouldStartLoad(WebContent *webView, const QNetworkRequest &request,
                                                      NavigationType type)
{
    setViewController(private_->rootViewController());
    opener()->setDelegateManager(private_->delegateManager());
    opener()->setViewController(viewController());
    opener()->setPresenter(private_->screenPresenter());
    if (private_->state() != TSKObjectPrivate::Shown)
        return TSKWebViewDelegate::webViewShouldStartLoad(webView, request, type);

    const QUrl clickURL = TSKStatistics::sharedStatistics()->urlForClick(request.url());
    if (TSKWebViewDelegate::webViewShouldStartLoad(webView, request, type)) {
        opener()->setReferringURL(webView->requestURL());
        if (URLConnection::isWebURL(clickURL))
            opener()->openBrowserToURLSupportedOrientations(clickURL, TSKFullScreen::Any);
    }
    return false;
}

void TSKBannerWebViewDelegate::webViewDidFinishLoad(WebContent *webView)
{
    TSKWebViewDelegate::webViewDidFinishLoad(webView);
    if (private_->state() == TSKObjectPrivate::Rendering)
        showAd();
}

void TSKBannerWebViewDelegate::showAd()
{
    private_->changeState(TSKObjectPrivate::Shown);
    private_->showAdContent();
    // The ad is on screen: its impression counts once the player has had it
    // in sight long enough.
    private_->countImpressionWhenViewable();
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    statistics->endTimingNamed(QStringLiteral("prl"));
    statistics->startTimingNamed(QStringLiteral("ppcl"));
    // Last: the publisher may release the banner in its callback.
    private_->delegateManager()->didReceiveAd();
}

void TSKBannerWebViewDelegate::webViewDidFailLoadWithError(WebContent *, const Error &)
{
    if (private_->state() == TSKObjectPrivate::Shown)
        return;
    // Failed, so the render deadline finds nothing left to end.
    private_->changeState(TSKObjectPrivate::Failed);
    private_->delegateManager()->didFailToReceiveAdWithError(
        TSKRequestError::errorWithCodeRequest(TSKRequestError::NetworkError, private_->request()));
}
