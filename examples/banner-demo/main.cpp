#include "AdEventLog.h"

#include <VelmoraAds/TSKBannerView.h>
#include <VelmoraAds/TSKRequest.h>
#include <VelmoraAds/ViewController.h>
#include <VelmoraAds/Window.h>

#include <QApplication>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("banner-demo"));

    // A 320 by 480 point screen, with the banner along its bottom edge.
    Velmora::Platform::Window window;
    Velmora::Platform::ViewController screen;
    window.setRootViewController(&screen);

    AdEventLog log;
    auto *banner = new TSKBannerView(QRectF(0, 430, 320, 50), screen.view());
    banner->setAdUnitID(QStringLiteral("a1f3c29b07d5e64"));
    banner->setRootViewController(&screen);  // full-screen ads open over it
    banner->setDelegate(&log);
    banner->loadRequest(TSKRequest::request().get());

    window.makeKeyAndVisible();
    return app.exec();
}
