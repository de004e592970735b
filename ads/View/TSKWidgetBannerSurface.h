#pragma once

#include "View/TSKBannerSurface.h"

#include <QPointer>
#include <QWidget>

// A banner drawn as a widget: the ad's web view is a child filling it.
class TSKWidgetBannerSurface : public TSKBannerSurface
{
public:
    explicit TSKWidgetBannerSurface(QWidget *banner) : banner_(banner) {}

    Velmora::Platform::WebContent *createAdContent() override;
    void showAdContent(Velmora::Platform::WebContent *content) override;
    QRectF frame() const override;
    std::unique_ptr<TSKSeenSource> makeSeenSource() override;

private:
    QPointer<QWidget> banner_;
};
