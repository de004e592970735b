#include "Quick/TSKItemBannerSurface.h"

#include "QuickWebView.h"
#include "Quick/TSKItemVisibilityTracker.h"

#include <QQmlEngine>

using namespace Velmora::Platform;

WebContent *TSKItemBannerSurface::createAdContent()
{
    auto *view = new QuickWebView(qmlEngine(banner_), banner_);
    view->setSize(banner_->size());
    view->setTransparent();
    view->setShown(false);
    return view;
}

void TSKItemBannerSurface::showAdContent(WebContent *content)
{
    static_cast<QuickWebView *>(content)->setShown(true);
}

QRectF TSKItemBannerSurface::frame() const
{
    return QRectF(banner_->position(), banner_->size());
}

std::unique_ptr<TSKSeenSource> TSKItemBannerSurface::makeSeenSource()
{
    return std::make_unique<TSKItemVisibilityTracker>(banner_);
}
