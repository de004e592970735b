#include "Opener/TSKAppOpener.h"

#include "Application.h"
#include "DelayedPerform.h"
#include "Delegate/TSKDelegateManager.h"
#include "Network/TSKClickTracker.h"

using namespace Velmora::Platform;

int TSKAppOpener::deferredOpens_ = 0;

namespace {

constexpr double kTrackingWaitSeconds = 0.3;
constexpr int kTrackingWaits = 3;

}  // namespace

TSKAppOpener::TSKAppOpener(QObject *parent) : QObject(parent)
{
}

void TSKAppOpener::openApp(const QUrl &url)
{
    if (url.isEmpty())
        return;
    if (TSKClickTracker::activeTrackings() && deferredOpens_++ < kTrackingWaits) {
        performAfterDelay(this, [this, url] { openApp(url); }, kTrackingWaitSeconds);
        return;
    }
    deferredOpens_ = 0;
    if (delegateManager_)
        delegateManager_->willLeaveApplication();
    // After the current event, like every way out of the program.
    performAfterDelay(Application::shared(), [url] { Application::shared()->openURL(url); }, 0);
}
