#pragma once

#include <QObject>
#include <functional>

namespace Velmora::Platform {

// Work run on a later turn of the GUI event loop on behalf of a target:
// it never runs once the target is gone, and it can be cancelled per target.
class DelayedPerform : public QObject
{
    Q_OBJECT
public:
    // Runs `action` after `seconds` (0 or less: on the next turn of the event
    // loop). Requests with equal delays run in the order they were made.
    static void performAfterDelay(QObject *target, std::function<void()> action, double seconds);

    template <class T>
    static void performAfterDelay(T *target, void (T::*method)(), double seconds)
    {
        performAfterDelay(target, [target, method] { (target->*method)(); }, seconds);
    }

    // Cancels every request for the target that has not run yet.
    static void cancelPreviousPerformRequests(QObject *target);

    // Requests for the target that have not run yet.
    static int pendingCount(const QObject *target);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    DelayedPerform(QObject *target, std::function<void()> action, double seconds);

    std::function<void()> action_;
    int timerId_;
};

// Free-function spelling of the above, as callers write it.
inline void performAfterDelay(QObject *target, std::function<void()> action, double seconds)
{
    DelayedPerform::performAfterDelay(target, std::move(action), seconds);
}

inline void cancelPreviousPerformRequests(QObject *target)
{
    DelayedPerform::cancelPreviousPerformRequests(target);
}

}  // namespace Velmora::Platform
