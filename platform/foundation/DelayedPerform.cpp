#include "DelayedPerform.h"

#include <QTimerEvent>
#include <cmath>
#include <limits>

namespace Velmora::Platform {

namespace {

int toDelayMs(double seconds)
{
    if (!(seconds > 0))
        return 0;
    const double ms = std::round(seconds * 1000.0);
    return ms >= double(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max() : int(ms);
}

}  // namespace

DelayedPerform::DelayedPerform(QObject *target, std::function<void()> action, double seconds)
    // A child of the target, so the request dies with it and is found for cancelling.
    : QObject(target), action_(std::move(action)), timerId_(startTimer(toDelayMs(seconds), Qt::PreciseTimer))
{
}

void DelayedPerform::performAfterDelay(QObject *target, std::function<void()> action, double seconds)
{
    if (target && action)
        new DelayedPerform(target, std::move(action), seconds);
}

void DelayedPerform::cancelPreviousPerformRequests(QObject *target)
{
    if (!target)
        return;
    for (auto *request : target->findChildren<DelayedPerform *>(Qt::FindDirectChildrenOnly))
        delete request;
}

int DelayedPerform::pendingCount(const QObject *target)
{
    return target ? int(target->findChildren<DelayedPerform *>(Qt::FindDirectChildrenOnly).size()) : 0;
}

void DelayedPerform::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != timerId_)
        return QObject::timerEvent(event);
    killTimer(timerId_);
    // Leave the target first: the action may delete it, and it no longer counts as pending.
    setParent(nullptr);
    const auto action = std::move(action_);
    delete this;
    action();
}

}  // namespace Velmora::Platform
