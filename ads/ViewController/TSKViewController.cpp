#include "ViewController/TSKViewController.h"

#include "Application.h"
#include "DelayedPerform.h"
#include "Delegate/TSKDelegateManager.h"
#include "Notification/TSKNotificationCenter.h"
#include "Statistics/TSKStatistics.h"
#include "Utility/TSKPrivateUtilities.h"
#include "ViewController/TSKViewControllerPrivate.h"
#include "Window.h"

#include <cstdio>

using namespace Velmora::Platform;

TSKViewController::TSKViewController(std::unique_ptr<TSKViewControllerPrivate> data, QObject *parent)
    : ViewController(parent)
{
    TSKPrivateUtilities::setPrivateObjectForKey(std::move(data), this);
    QWidget *screen = view();
    screen->setAutoFillBackground(true);
    QPalette palette = screen->palette();
    palette.setColor(QPalette::Window, Qt::black);
    screen->setPalette(palette);
    setModalTransitionStyle(CoverVertical);
    TSKNotificationCenter::defaultCenter()->addObserver(this, &TSKViewController::settingsChanged,
                                                        QStringLiteral("settings"), screen);
}

TSKViewController::~TSKViewController()
{
    // Gone without relinquishing (its presenter went, say): the banners it
    // paused must not wait for it forever.
    if (privateData()->holdsFullScreen)
        postFullScreenNotification(DidRelinquishFullScreen);
    TSKNotificationCenter::defaultCenter()->removeObserver(this);
    TSKPrivateUtilities::removePrivateObjectForKey(this);
}

TSKViewControllerPrivate *TSKViewController::privateData() const
{
    return TSKPrivateUtilities::privateObjectForKey<TSKViewControllerPrivate>(this);
}

const std::shared_ptr<TSKDelegateManager> &TSKViewController::delegateManager() const
{
    return privateData()->delegateManager();
}

void TSKViewController::setDelegateManager(std::shared_ptr<TSKDelegateManager> manager)
{
    privateData()->setDelegateManager(std::move(manager));
}

int TSKViewController::supportedOrientations() const
{
    return privateData()->supportedOrientations;
}

void TSKViewController::setSupportedOrientations(int orientations)
{
    if (orientations != TSKFullScreen::NotSet)
        privateData()->supportedOrientations = orientations;
}

bool TSKViewController::statusBarWasHidden() const
{
    return privateData()->statusBarWasHidden;
}

void TSKViewController::setStatusBarWasHidden(bool hidden)
{
    privateData()->statusBarWasHidden = hidden;
}

bool TSKViewController::isFirstTSKViewController() const
{
    if (ViewController *parent = parentViewController())
        return !qobject_cast<TSKViewController *>(parent);
    return privateData()->firstScreen;
}

namespace {

// What presents an ad screen over the application, when the key window has it.
ViewController *keyWindowRoot()
{
    Window *window = Application::shared()->keyWindow();
    return window ? window->rootViewController() : nullptr;
}

}  // namespace

void TSKViewController::presentFromViewController(ViewController *parent)
{
    if (!parent) {
        std::fprintf(stderr, "<Tiskos> No UIViewController supplied to the ad.  Cannot continue.\n");
        return;
    }
    // A screen already presenting refuses another one; announced all the
    // same, this one would pause every banner for a screen that never comes.
    ViewController *root = qobject_cast<TSKViewController *>(parent) ? nullptr : keyWindowRoot();
    if ((root ? root : parent)->modalViewController())
        return;
    view()->setEnabled(false);
    postFullScreenNotification(WillPresentFullScreen);
    privateData()->firstScreen = !qobject_cast<TSKViewController *>(parent);
    if (!privateData()->firstScreen) {
        privateData()->interactingWithParent = false;
        parent->presentModalViewController(this, true);
        return;
    }
    privateData()->interactingWithParent = true;
    delegateManager()->willPresentScreen();
    hideStatusBar();
    presentSelfFrom(parent);
}

void TSKViewController::presentSelfFrom(ViewController *parent)
{
    if (ViewController *root = keyWindowRoot()) {
        root->presentModalViewController(this, true);
        return;
    }
    parent->presentModalViewController(this, true);
    DelayedPerform::performAfterDelay(
        this, [this] {
            if (!view()->isEnabled())
                viewDidAppear(false);
        },
        kFallbackAppearanceSeconds);
}

void TSKViewController::hideStatusBar()
{
    if (modalPresentationStyle() != FullScreen)
        return;
    Application *application = Application::shared();
    setStatusBarWasHidden(application->isStatusBarHidden());
    if (!statusBarWasHidden())
        application->setStatusBarHidden(true);
}

void TSKViewController::restoreStatusBar()
{
    if (modalPresentationStyle() == FullScreen && !statusBarWasHidden())
        Application::shared()->setStatusBarHidden(false);
}

// Runs once: the platform's delivery and the fallback one may both come.
void TSKViewController::viewDidAppear(bool animated)
{
    if (view()->isEnabled())
        return;
    ViewController::viewDidAppear(animated);
    view()->setEnabled(true);
    if (isFirstTSKViewController())
        privateData()->interactingWithParent = false;
}

void TSKViewController::relinquishScreen()
{
    // An appearance still on its way comes first: after this, it would take
    // the dismissal for the presentation, and the dismissal's callback be lost.
    finishTransition();
    cancelPreviousPerformRequests(this);
    // Given back already, or never up.
    if (!view()->isEnabled())
        return;
    view()->setEnabled(false);
    if (isFirstTSKViewController()) {
        privateData()->interactingWithParent = true;
        delegateManager()->willDismissScreen();
        restoreStatusBar();
    } else {
        privateData()->interactingWithParent = false;
    }
    dismissModalViewControllerAnimated(true);
    postFullScreenNotification(DidRelinquishFullScreen);
}

void TSKViewController::viewDidDisappear(bool animated)
{
    ViewController::viewDidDisappear(animated);
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    statistics->endTimingNamed(QStringLiteral("plpd"));
    statistics->endTimingNamed(QStringLiteral("pcl"));
    TSKViewControllerPrivate *data = privateData();
    if (!isFirstTSKViewController() || !data->interactingWithParent)
        return;
    data->interactingWithParent = false;
    if (data->appClosing)
        delegateManager()->willLeaveApplication();
    else
        delegateManager()->didDismissScreen();
}

bool TSKViewController::shouldAutorotateToInterfaceOrientation(InterfaceOrientation orientation)
{
    switch (supportedOrientations()) {
    case TSKFullScreen::Portrait:
        return orientation == Portrait || orientation == PortraitUpsideDown;
    case TSKFullScreen::Landscape:
        return orientation == LandscapeRight || orientation == LandscapeLeft;
    default:
        return true;
    }
}

void TSKViewController::settingsChanged(const Notification &notification)
{
    setSupportedOrientations(orientationFromString(notification.userInfo().value(QStringLiteral("supportedorientations")).toString()));
}

void TSKViewController::postFullScreenNotification(const QString &name)
{
    privateData()->holdsFullScreen = name == WillPresentFullScreen;
    NotificationCenter::defaultCenter()->postNotificationName(name, this);
}
