#include "View/BannerWidgetPrivate.h"

#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include "Object/TSKObjectPrivate.h"
#include "Utility/TSKPrivateUtilities.h"
#include "View/BannerWindowController.h"
#include "WebView.h"
#include "WebWindowSurface.h"

#include <VelmoraAds/TSKBannerView.h>

#include <QPointer>
#include <QWebEnginePage>

using namespace Velmora::Platform;

namespace Velmora::Ads {

namespace {

BannerWidget::Failure failureOfCode(qint64 code)
{
    if (code < int(BannerWidget::Failure::NoFill) || code > int(BannerWidget::Failure::Timeout))
        return BannerWidget::Failure::InvalidRequest;
    return BannerWidget::Failure(code);
}

}  // namespace

BannerWidgetPrivate::BannerWidgetPrivate(BannerWidget *widget)
    : widget_(widget), banner_(new TSKBannerView(widget)), windowController_(new BannerWindowController(this))
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

void BannerWidgetPrivate::startLoading()
{
    setState(BannerWidget::State::Loading);
}

void BannerWidgetPrivate::setState(BannerWidget::State state)
{
    if (state_ == state)
        return;
    state_ = state;
    emit widget_->stateChanged(state);
}

void BannerWidgetPrivate::setLastError(const QString &message)
{
    if (lastError_ == message)
        return;
    lastError_ = message;
    emit widget_->lastErrorChanged(message);
}

void BannerWidgetPrivate::updateAutoRefreshed()
{
    const bool refreshed = banner_->hasAutoRefreshed();
    if (autoRefreshed_ == refreshed)
        return;
    autoRefreshed_ = refreshed;
    emit widget_->autoRefreshedChanged(refreshed);
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

// Each handler stops as soon as a slot has deleted the widget.
void BannerWidgetPrivate::adViewDidReceiveAd(QObject *)
{
    const QPointer<BannerWidget> alive(widget_);
    measureAd();
    setState(BannerWidget::State::Shown);
    if (alive)
        setLastError({});
    if (alive)
        updateAutoRefreshed();
    if (alive)
        emit widget_->adReceived();
}

void BannerWidgetPrivate::adViewDidFailToReceiveAdWithError(QObject *, const Error &error)
{
    const QPointer<BannerWidget> alive(widget_);
    const QString message = error.localizedDescription();
    setState(BannerWidget::State::Failed);
    if (alive)
        setLastError(message);
    if (alive)
        updateAutoRefreshed();
    if (alive)
        emit widget_->adFailed(failureOfCode(error.code), message);
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
