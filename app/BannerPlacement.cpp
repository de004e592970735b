#include "BannerPlacement.h"

#include "Request/TSKRequest.h"
#include "View/TSKBannerView.h"
#include "ViewController.h"
#include "ViewGeometry.h"

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
