#include <VelmoraAds/BannerWidget.h>

#include "View/BannerWidgetPrivate.h"

#include <VelmoraAds/TSKBannerView.h>
#include <VelmoraAds/TSKRequest.h>

#include <QEvent>

namespace Velmora::Ads {

namespace {

constexpr QSize kStandardSize(320, 50);

}  // namespace

BannerWidget::BannerWidget(QWidget *parent) : QWidget(parent), d(std::make_unique<BannerWidgetPrivate>(this))
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    d->followWindow();
}

BannerWidget::~BannerWidget() = default;

QString BannerWidget::adUnitId() const
{
    return d->banner()->adUnitID();
}

void BannerWidget::setAdUnitId(const QString &id)
{
    if (id == adUnitId())
        return;
    d->banner()->setAdUnitID(id);
    emit adUnitIdChanged(id);
}

bool BannerWidget::autoRefreshed() const
{
    return d->status().autoRefreshed();
}

BannerWidget::State BannerWidget::state() const
{
    return d->status().state();
}

QString BannerWidget::lastError() const
{
    return d->status().lastError();
}

TSKBannerView *BannerWidget::bannerView() const
{
    return d->banner();
}

QSize BannerWidget::sizeHint() const
{
    return d->adSize().isValid() ? d->adSize() : kStandardSize;
}

void BannerWidget::load()
{
    d->status().startLoading();
    d->banner()->loadRequest(nullptr);
}

void BannerWidget::load(const TSKRequest &request)
{
    d->status().startLoading();
    d->banner()->loadRequest(&request);
}

// Whenever the widget may have moved to another window; it shows anew after
// any move, its own or an ancestor's.
bool BannerWidget::event(QEvent *event)
{
    if (event->type() == QEvent::ParentChange || event->type() == QEvent::Show)
        d->followWindow();
    return QWidget::event(event);
}

void BannerWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    d->banner()->setGeometry(rect());
}

}  // namespace Velmora::Ads
