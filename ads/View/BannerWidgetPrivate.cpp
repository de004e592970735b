#include "View/BannerWidgetPrivate.h"

#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include "Object/TSKObjectPrivate.h"
#include "Utility/TSKPrivateUtilities.h"
#include "View/BannerWindowController.h"
#include "WebView.h"
#include "WebWindowSurface.h"

#include <VelmoraAds/TSKBannerView.h>

#include <QWebEnginePage>

using namespace Velmora::Platform;

namespace Velmora::Ads {

BannerWidgetPrivate::BannerWidgetPrivate(BannerWidget *widget)
    : widget_(widget), banner_(new TSKBannerView(widget)), windowController_(new BannerWindowController(this)),
      status_(widget)
{
    banner_->setRootViewController(windowController_);
    // Heard as the library's own delegate, so the banner's delegate() stays
    // the program's.
    auto *object = TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner_);
    object->delegateManager()->addDelegate(this, banner_)->setInternal(true);
}

BannerWidgetPrivate::~BannerWidgetPrivate() = default;

void BannerWidgetPrivate::followWindow()
{
    QWidget *window = widget_->window();
    windowController_->placeIn(window);
    // Not a banner on its own, most likely on its way into a layout: a
    // stand-in per banner would cost more than the window it spares.
    if (window != widget_)
        WebWindowSurface::prepare(window);
}

// The page decides the ad's size; a layout is only asked for so much.
void BannerWidgetPrivate::measureAd()
{
    const WebView *view = banner_->webView();
    if (!view || !view->page())
        return;
    const QSize measured = view->page()->contentsSize().toSize().boundedTo({kMaximumAdWidth, kMaximumAdHeight});
    if (measured.isEmpty() || measured == adSize_)
        return;
    adSize_ = measured;
    widget_->updateGeometry();
}

void BannerWidgetPrivate::adViewDidReceiveAd(QObject *)
{
    measureAd();
    status_.received(banner_->hasAutoRefreshed());
}

void BannerWidgetPrivate::adViewDidFailToReceiveAdWithError(QObject *, const Error &error)
{
    status_.failed(error, banner_->hasAutoRefreshed());
}

void BannerWidgetPrivate::adViewWillPresentScreen(QObject *)
{
    emit widget_->screenWillPresent();
}

void BannerWidgetPrivate::adViewWillDismissScreen(QObject *)
{
    emit widget_->screenWillDismiss();
}

void BannerWidgetPrivate::adViewDidDismissScreen(QObject *)
{
    emit widget_->screenDidDismiss();
}

void BannerWidgetPrivate::adViewWillLeaveApplication(QObject *)
{
    emit widget_->willLeaveApplication();
}

}  // namespace Velmora::Ads
