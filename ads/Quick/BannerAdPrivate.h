#pragma once

#include <VelmoraAds/BannerAd.h>

#include "Error.h"
#include "Quick/TSKQuickPresenter.h"
#include "View/BannerStatus.h"

#include <QObject>

class TSKObjectPrivate;

namespace Velmora::Ads {

// The engine of a BannerAd, made once the item knows its QML engine; hears
// the engine's events as a delegate of the library's own and turns them into
// the item's properties and signals; draws full-screen ads over its window.
class BannerAdPrivate : public QObject
{
    Q_OBJECT
public:
    // Largest ad size the item asks its layout for; a page claiming more is
    // held to it.
    static constexpr int kMaximumAdWidth = 1024;
    static constexpr int kMaximumAdHeight = 768;

    explicit BannerAdPrivate(BannerAd *item);
    ~BannerAdPrivate() override;

    void start();
    void load();
    void fitContent();

    QString adUnitId;
    QStringList keywords;
    BannerStatus<BannerAd> status;

    Q_INVOKABLE void adViewDidReceiveAd(QObject *view);
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(QObject *view, const Velmora::Platform::Error &error);
    Q_INVOKABLE void adViewWillPresentScreen(QObject *view);
    Q_INVOKABLE void adViewWillDismissScreen(QObject *view);
    Q_INVOKABLE void adViewDidDismissScreen(QObject *view);
    Q_INVOKABLE void adViewWillLeaveApplication(QObject *view);

private:
    void measureAd();
    void makeEngine();

    // Kept where a TSKBannerView keeps its own, under the item.
    TSKObjectPrivate *engine() const;

    BannerAd *item_;
    TSKQuickPresenter presenter_;
    bool loadPending_ = false;
};

}  // namespace Velmora::Ads
