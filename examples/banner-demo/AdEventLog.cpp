#include "AdEventLog.h"

#include <VelmoraAds/TSKBannerView.h>

#include <cstdio>

static void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void AdEventLog::adViewDidReceiveAd(TSKBannerView *view)
{
    print(QStringLiteral("adViewDidReceiveAd (ad unit %1)").arg(view->adUnitID()));
}

void AdEventLog::adViewDidFailToReceiveAdWithError(TSKBannerView *, const Velmora::Platform::Error &error)
{
    print(QStringLiteral("adViewDidFailToReceiveAdWithError: %1 (code %2)")
              .arg(error.localizedDescription())
              .arg(error.code));
}

void AdEventLog::adViewWillPresentScreen(TSKBannerView *)
{
    print(QStringLiteral("adViewWillPresentScreen"));
}

void AdEventLog::adViewWillDismissScreen(TSKBannerView *)
{
    print(QStringLiteral("adViewWillDismissScreen"));
}

void AdEventLog::adViewDidDismissScreen(TSKBannerView *)
{
    print(QStringLiteral("adViewDidDismissScreen"));
}

void AdEventLog::adViewWillLeaveApplication(TSKBannerView *)
{
    print(QStringLiteral("adViewWillLeaveApplication"));
}
