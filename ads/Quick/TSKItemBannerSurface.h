#pragma once

#include "View/TSKBannerSurface.h"

#include <QPointer>
#include <QQuickItem>

// A banner drawn in a Qt Quick scene: the ad's web view is a child item
// filling it, so the scene clips, covers, fades and moves it with the banner.
class TSKItemBannerSurface : public TSKBannerSurface
{
public:
    explicit TSKItemBannerSurface(QQuickItem *banner) : banner_(banner) {}

    Velmora::Platform::WebContent *createAdContent() override;
    void showAdContent(Velmora::Platform::WebContent *content) override;
    QRectF frame() const override;
    std::unique_ptr<TSKSeenSource> makeSeenSource() override;

private:
    QPointer<QQuickItem> banner_;
};
