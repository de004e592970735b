#include "View/TSKWidgetBannerSurface.h"

#include "View/TSKVisibilityTracker.h"
#include "WebView.h"

using namespace Velmora::Platform;

WebContent *TSKWidgetBannerSurface::createAdContent()
{
    auto *view = new WebView(banner_);
    view->setGeometry(banner_ ? banner_->rect() : QRect());
    view->setAttribute(Qt::WA_TranslucentBackground);
    view->page()->setBackgroundColor(Qt::transparent);
    view->setFocusPolicy(Qt::NoFocus);
    view->hide();
    return view;
}

void TSKWidgetBannerSurface::showAdContent(WebContent *content)
{
    static_cast<WebView *>(content)->show();
}

QRectF TSKWidgetBannerSurface::frame() const
{
    return banner_ ? QRectF(banner_->geometry()) : QRectF();
}

std::unique_ptr<TSKSeenSource> TSKWidgetBannerSurface::makeSeenSource()
{
    if (!banner_)
        return nullptr;
    return std::make_unique<TSKVisibilityTracker>(banner_);
}
