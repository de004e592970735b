#pragma once

#include <QRectF>
#include <memory>

namespace Velmora::Platform {
class WebContent;
}
class TSKSeenSource;

// How a banner is drawn: all that its engine (TSKObjectPrivate) leaves to
// the kind of program it lives in, a widget's or a Qt Quick scene's.
class TSKBannerSurface
{
public:
    virtual ~TSKBannerSurface() = default;

    // New web content for the ad, hidden and transparent, filling the banner.
    virtual Velmora::Platform::WebContent *createAdContent() = 0;
    // The rendered ad goes on screen.
    virtual void showAdContent(Velmora::Platform::WebContent *content) = 0;
    // The banner's frame in its parent's coordinates.
    virtual QRectF frame() const = 0;
    // Tells whether the banner can be seen, and when that changes.
    virtual std::unique_ptr<TSKSeenSource> makeSeenSource() = 0;
};
