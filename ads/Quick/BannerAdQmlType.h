#pragma once

#include <VelmoraAds/BannerAd.h>

#include <QtQml/qqmlregistration.h>

// BannerAd lives in the library; the QML module only names it.
struct BannerAdQmlType
{
    Q_GADGET
    QML_FOREIGN(Velmora::Ads::BannerAd)
    QML_NAMED_ELEMENT(BannerAd)
};
