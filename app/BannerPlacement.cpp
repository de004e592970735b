#include "BannerPlacement.h"

#include <VelmoraAds/TSKRequest.h>
#include <VelmoraAds/TSKBannerView.h>
#include "ViewController.h"
#include "ViewGeometry.h"

using namespace Velmora::Platform;

TSKBannerView *BannerPlacement::place(ViewController *screen)
{
    QWidget *view = screen->view();
    const double height = ViewGeometry::frame(view).height();
    auto *banner = new TSKBannerView(QRectF(0, height - 50, 320, 50), view);
    banner->setAdUnitID(QString::fromLatin1(kAdUnitID));
    banner->setRootViewController(screen);
    banner->show();
    banner->loadRequest(TSKRequest::request().get());
    return banner;
}
