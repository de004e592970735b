#pragma once

#include <QObject>
#include <QString>

class VelmoraViewController;
namespace Velmora::Platform {
class ViewController;
class Window;
}

// `--screenshot DIR`: walks through every screen with a fixed random source,
// saves each as a PNG in DIR and quits (status 1 if a file cannot be written).
// Time is driven by calling the play screen's timer slots, so the pictures
// are the same on every run and need no display.
class ScreenshotTour : public QObject
{
    Q_OBJECT
public:
    ScreenshotTour(Velmora::Platform::Window *window, VelmoraViewController *menu, QString directory);

    // Runs the tour on the next turn of the event loop.
    void start();

private:
    void run();
    bool save(const QString &name);
    void waitForBanners();
    bool tapAd(Velmora::Platform::ViewController *screen);
    bool grab(const QString &name);
    bool showMailComposer(Velmora::Platform::ViewController *screen);
    bool showPrivacy();

    Velmora::Platform::Window *window_;
    VelmoraViewController *menu_;
    QString directory_;
};
