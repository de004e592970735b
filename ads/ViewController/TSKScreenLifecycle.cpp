#include "ViewController/TSKScreenLifecycle.h"

#include "Delegate/TSKDelegateManager.h"
#include "NotificationCenter.h"
#include "Statistics/TSKStatistics.h"
#include "ViewController/TSKFullScreen.h"

using namespace Velmora::Platform;

TSKScreenLifecycle::TSKScreenLifecycle(QObject *screen) : screen_(screen) {}

// Gone without being given back (with its window, say): the banners it
// paused must not wait for it forever.
TSKScreenLifecycle::~TSKScreenLifecycle()
{
    if (holdsScreen_)
        post(false);
}

const std::shared_ptr<TSKDelegateManager> &TSKScreenLifecycle::delegateManager()
{
    if (!delegateManager_)
        delegateManager_ = std::make_shared<TSKDelegateManager>();
    return delegateManager_;
}

void TSKScreenLifecycle::willPresent(bool overApplication)
{
    phase_ = Phase::Appearing;
    overApplication_ = overApplication;
    post(true);
    if (overApplication)
        delegateManager()->willPresentScreen();
}

bool TSKScreenLifecycle::didAppear()
{
    if (phase_ != Phase::Appearing)
        return false;
    phase_ = Phase::Up;
    return true;
}

bool TSKScreenLifecycle::willRelinquish()
{
    if (phase_ != Phase::Up)
        return false;
    phase_ = Phase::Closing;
    if (overApplication_)
        delegateManager()->willDismissScreen();
    return true;
}

void TSKScreenLifecycle::didRelinquish()
{
    post(false);
}

void TSKScreenLifecycle::didDisappear()
{
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    statistics->endTimingNamed(QStringLiteral("plpd"));
    statistics->endTimingNamed(QStringLiteral("pcl"));
    if (phase_ != Phase::Closing)
        return;
    phase_ = Phase::Hidden;
    if (!overApplication_)
        return;
    if (appClosing_)
        delegateManager()->willLeaveApplication();
    else
        delegateManager()->didDismissScreen();
}

void TSKScreenLifecycle::post(bool holdsScreen)
{
    holdsScreen_ = holdsScreen;
    NotificationCenter::defaultCenter()->postNotificationName(
        holdsScreen ? TSKFullScreen::WillPresentNotification : TSKFullScreen::DidRelinquishNotification, screen_);
}
