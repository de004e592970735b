#include "Quick/BannerAdPrivate.h"

#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include "NotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include "Quick/TSKItemBannerSurface.h"
#include "QuickWebView.h"
#include "Utility/TSKPrivateUtilities.h"
#include <VelmoraAds/TSKRequest.h>

#include <QQmlEngine>
#include <QQuickWindow>

using namespace Velmora::Platform;

namespace Velmora::Ads {

BannerAdPrivate::BannerAdPrivate(BannerAd *item) : status(item), item_(item), presenter_(item) {}

// Nothing deferred of the engine may run once the banner is going.
BannerAdPrivate::~BannerAdPrivate()
{
    if (TSKObjectPrivate *loader = engine())
        loader->cancelPendingActions();
    NotificationCenter::defaultCenter()->removeObserver(item_);
    TSKPrivateUtilities::removePrivateObjectForKey(item_);
}

TSKObjectPrivate *BannerAdPrivate::engine() const
{
    return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(item_);
}

// The ad's web view is made in the item's own QML engine, once it can be.
void BannerAdPrivate::start()
{
    if (QQmlEngine *engine = qmlEngine(item_))
        QuickWebView::whenReady(engine, this, [this] { makeEngine(); });
}

void BannerAdPrivate::makeEngine()
{
    auto made = std::make_unique<TSKObjectPrivate>(std::make_unique<TSKItemBannerSurface>(item_));
    made->setAdUnitID(adUnitId);
    made->setScreenPresenter(&presenter_);
    made->delegateManager()->addDelegate(this, item_)->setInternal(true);
    TSKPrivateUtilities::setPrivateObjectForKey(std::move(made), item_);
    if (std::exchange(loadPending_, false))
        load();
}

void BannerAdPrivate::load()
{
    status.startLoading();
    TSKObjectPrivate *loader = engine();
    if (!loader) {
        loadPending_ = true;
        return;
    }
    loader->setAdUnitID(adUnitId);
    const std::unique_ptr<TSKRequest> request = TSKRequest::request();
    if (!keywords.isEmpty())
        request->setKeywords(keywords);
    loader->loadRequest(request.get());
}

void BannerAdPrivate::fitContent()
{
    const TSKObjectPrivate *loader = engine();
    if (WebContent *content = loader ? loader->webView() : nullptr)
        static_cast<QuickWebView *>(content->contentObject())->setSize(item_->size());
}

// The page decides the ad's size; a layout is only asked for so much.
void BannerAdPrivate::measureAd()
{
    const WebContent *content = engine()->webView();
    if (!content)
        return;
    const QSizeF measured = content->contentsSize().boundedTo(QSizeF(kMaximumAdWidth, kMaximumAdHeight));
    if (!measured.isEmpty())
        item_->setImplicitSize(measured.width(), measured.height());
}

void BannerAdPrivate::adViewDidReceiveAd(QObject *)
{
    measureAd();
    status.received(engine()->hasAutoRefreshed());
}

void BannerAdPrivate::adViewDidFailToReceiveAdWithError(QObject *, const Error &error)
{
    status.failed(error, engine()->hasAutoRefreshed());
}

void BannerAdPrivate::adViewWillPresentScreen(QObject *)
{
    emit item_->screenWillPresent();
}

void BannerAdPrivate::adViewWillDismissScreen(QObject *)
{
    emit item_->screenWillDismiss();
}

void BannerAdPrivate::adViewDidDismissScreen(QObject *)
{
    emit item_->screenDidDismiss();
}

void BannerAdPrivate::adViewWillLeaveApplication(QObject *)
{
    emit item_->willLeaveApplication();
}

}  // namespace Velmora::Ads
