#pragma once

#include <VelmoraAds/Error.h>

#include <QObject>

class TSKBannerView;

// A banner delegate: the library calls whichever of these a delegate
// declares. This one prints each event on its own line.
class AdEventLog : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *view);
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(TSKBannerView *view,
                                                       const Velmora::Platform::Error &error);
    Q_INVOKABLE void adViewWillPresentScreen(TSKBannerView *view);
    Q_INVOKABLE void adViewWillDismissScreen(TSKBannerView *view);
    Q_INVOKABLE void adViewDidDismissScreen(TSKBannerView *view);
    Q_INVOKABLE void adViewWillLeaveApplication(TSKBannerView *view);
};
