#include <VelmoraAds/BannerAd.h>

#include "Quick/BannerAdPrivate.h"

namespace Velmora::Ads {

namespace {

constexpr QSizeF kStandardSize(320, 50);

}  // namespace

BannerAd::BannerAd(QQuickItem *parent) : QQuickItem(parent), d(std::make_unique<BannerAdPrivate>(this))
{
    setImplicitSize(kStandardSize.width(), kStandardSize.height());
}

BannerAd::~BannerAd() = default;

QString BannerAd::adUnitId() const
{
    return d->adUnitId;
}

void BannerAd::setAdUnitId(const QString &id)
{
    if (id == d->adUnitId)
        return;
    d->adUnitId = id;
    emit adUnitIdChanged(id);
}

QStringList BannerAd::keywords() const
{
    return d->keywords;
}

void BannerAd::setKeywords(const QStringList &keywords)
{
    if (keywords == d->keywords)
        return;
    d->keywords = keywords;
    emit keywordsChanged(keywords);
}

bool BannerAd::autoRefreshed() const
{
    return d->status.autoRefreshed();
}

BannerAd::State BannerAd::state() const
{
    return d->status.state();
}

QString BannerAd::lastError() const
{
    return d->status.lastError();
}

void BannerAd::load()
{
    d->load();
}

void BannerAd::componentComplete()
{
    QQuickItem::componentComplete();
    d->start();
}

void BannerAd::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    d->fitContent();
}

}  // namespace Velmora::Ads
