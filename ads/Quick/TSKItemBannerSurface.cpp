#include "Quick/TSKItemBannerSurface.h"

#include "Quick/TSKItemVisibilityTracker.h"

#include <QQmlEngine>

using namespace Velmora::Platform;

WebContent *TSKItemBannerSurface::createAdContent()
{
    content_ = new QuickWebView(qmlEngine(banner_), banner_);
    content_->setSize(banner_->size());
    content_->setTransparent();
    content_->setVisible(false);
    return content_;
}

// A page of the widgets' profile would need a renderer of its own.
WebContent *TSKItemBannerSurface::createHiddenContent()
{
    auto *page = new QuickWebView(qmlEngine(banner_), banner_);
    page->setVisible(false);
    return page;
}

void TSKItemBannerSurface::showAdContent(WebContent *content)
{
    static_cast<QuickWebView *>(content)->setVisible(true);
}

QRectF TSKItemBannerSurface::frame() const
{
    return QRectF(banner_->position(), banner_->size());
}

std::unique_ptr<TSKSeenSource> TSKItemBannerSurface::makeSeenSource()
{
    auto tracker = std::make_unique<TSKItemVisibilityTracker>(banner_);
    QObject::connect(tracker.get(), &TSKSeenSource::seenChanged, banner_, [this](bool seen) {
        if (seen && content_)
            content_->prepare();
    });
    return tracker;
}
