#pragma once

#include "ApplicationDelegate.h"
#include "GameOptions.h"

#include <memory>

class Autoplay;
class ScreenshotTour;
class VelmoraViewController;
namespace Velmora::Platform {
class Window;
}

// Puts the menu on the screen at launch, asks the privacy question over it
// until the player has answered, and starts the screenshot tour or the
// autoplay bot when the command line asks for one. The window and the
// menu come from the main interface file, read when the delegate is made.
class VelmoraAppDelegate : public Velmora::Platform::ApplicationDelegate
{
public:
    explicit VelmoraAppDelegate(GameOptions options = {});
    ~VelmoraAppDelegate() override;

    Velmora::Platform::Window *window() const { return window_.get(); }
    VelmoraViewController *viewController() const { return viewController_.get(); }

    bool applicationDidFinishLaunchingWithOptions(Velmora::Platform::Application *application,
                                                  const QVariantMap &launchOptions) override;

private:
    void loadMainInterface();
    void settlePrivacy();
    void addQuitShortcut();
    void startAutoplay();

    GameOptions options_;
    // Declared in this order so the menu goes before the window.
    std::unique_ptr<Velmora::Platform::Window> window_;
    std::unique_ptr<VelmoraViewController> viewController_;
    std::unique_ptr<ScreenshotTour> screenshotTour_;
    std::unique_ptr<Autoplay> autoplay_;
};
