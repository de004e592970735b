#pragma once

#include <VelmoraAds/BannerWidget.h>

#include "Error.h"
#include "View/BannerStatus.h"

#include <QObject>
#include <QPointer>
#include <QSize>

class BannerWindowController;

namespace Velmora::Ads {

// Hears the wrapped banner's events as a delegate of the library's own and
// turns them into the widget's properties and signals.
class BannerWidgetPrivate : public QObject
{
    Q_OBJECT
public:
    // Largest ad size the widget asks its layout for; a page claiming more is
    // held to it.
    static constexpr int kMaximumAdWidth = 1024;
    static constexpr int kMaximumAdHeight = 768;

    explicit BannerWidgetPrivate(BannerWidget *widget);
    ~BannerWidgetPrivate() override;

    TSKBannerView *banner() const { return banner_; }
    BannerStatus<BannerWidget> &status() { return status_; }
    QSize adSize() const { return adSize_; }

    // The window full-screen ads cover may have changed.
    void followWindow();

    Q_INVOKABLE void adViewDidReceiveAd(QObject *view);
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(QObject *view, const Velmora::Platform::Error &error);
    Q_INVOKABLE void adViewWillPresentScreen(QObject *view);
    Q_INVOKABLE void adViewWillDismissScreen(QObject *view);
    Q_INVOKABLE void adViewDidDismissScreen(QObject *view);
    Q_INVOKABLE void adViewWillLeaveApplication(QObject *view);

private:
    void measureAd();

    BannerWidget *widget_;
    TSKBannerView *banner_;
    BannerWindowController *windowController_;
    BannerStatus<BannerWidget> status_;
    QSize adSize_;
};

}  // namespace Velmora::Ads
