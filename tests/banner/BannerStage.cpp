#include "BannerStage.h"

#include "EventLoopWait.h"
#include "Object/TSKObjectPrivate.h"
#include "Utility/TSKPrivateUtilities.h"

#include <VelmoraAds/TSKBannerView.h>
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include <VelmoraAds/TSKRequest.h>

BannerStage::BannerStage(const testsupport::AdServerProcess &server, QWidget *parent, const QRectF &frame, const QString &unit)
    : server(server)
{
    TSKNetworkConfiguration::setStaticContentHost(server.host());
    TSKNetworkConfiguration::setAdServerHost(server.host());
    banner = new TSKBannerView(frame, parent ? parent : screen.view());
    banner->setAdUnitID(unit);
    banner->setRootViewController(&screen);
    banner->setDelegate(this);
    banner->show();
    if (!parent) {
        screen.view()->resize(320, 480);
        screen.view()->show();
    }
}

TSKObjectPrivate *BannerStage::loader() const
{
    return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner);
}

void BannerStage::load()
{
    banner->loadRequest(TSKRequest::request().get());
}

bool BannerStage::waitForEvents(int count, int timeoutMs)
{
    return testsupport::waitUntil([&] { return events.size() >= count; }, timeoutMs);
}

bool BannerStage::waitForSeen(bool seen)
{
    return testsupport::waitUntil([&] { return loader()->isSeen() == seen; });
}

void BannerStage::adViewDidReceiveAd(TSKBannerView *)
{
    events << QStringLiteral("receive");
    if (onReceive)
        std::exchange(onReceive, nullptr)();
}

void BannerStage::adViewDidFailToReceiveAdWithError(TSKBannerView *, const Velmora::Platform::Error &error)
{
    events << QStringLiteral("fail");
    errors << error;
}
