#pragma once

#include "ViewController.h"
#include "ViewController/TSKFullScreen.h"

#include <memory>

namespace Velmora::Platform {
class Notification;
}
class TSKDelegateManager;
class TSKScreenLifecycle;
class TSKViewControllerPrivate;

// A full-screen ad screen (the in-app browser, the web app screen). It shows
// itself over the application or over another ad screen and keeps itself
// alive until it relinquishes the screen; over the application it tells the
// publisher's delegate, hides the status bar meanwhile, and, like every ad
// screen, pauses all banners' reloads while it is up.
class TSKViewController : public Velmora::Platform::ViewController
{
    Q_OBJECT
public:
    static inline const QString WillPresentFullScreen = TSKFullScreen::WillPresentNotification;
    static inline const QString DidRelinquishFullScreen = TSKFullScreen::DidRelinquishNotification;
    // The wait for an appearance the presentation path may not deliver.
    static constexpr double kFallbackAppearanceSeconds = 0.6;

    static int orientationFromString(const QString &text) { return TSKFullScreen::orientationFromString(text); }

    ~TSKViewController() override;

    const std::shared_ptr<TSKDelegateManager> &delegateManager() const;
    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager);
    int supportedOrientations() const;
    // 0 never clears a setting.
    void setSupportedOrientations(int orientations);
    bool statusBarWasHidden() const;
    void setStatusBarWasHidden(bool hidden);

    void presentFromViewController(Velmora::Platform::ViewController *parent);
    Q_INVOKABLE void relinquishScreen();
    bool isFirstTSKViewController() const;

    bool shouldAutorotateToInterfaceOrientation(InterfaceOrientation orientation) override;
    void viewDidAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;

protected:
    // Subclasses hand in their own private data, derived from the base one.
    explicit TSKViewController(std::unique_ptr<TSKViewControllerPrivate> data, QObject *parent = nullptr);
    TSKViewControllerPrivate *privateData() const;
    TSKScreenLifecycle &lifecycle() const;

private:
    void presentSelfFrom(Velmora::Platform::ViewController *parent);
    void hideStatusBar();
    void restoreStatusBar();
    void settingsChanged(const Velmora::Platform::Notification &notification);
};
