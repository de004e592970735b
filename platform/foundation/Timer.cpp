#include "Timer.h"

#include "TimerQueue.h"

#include <cmath>

namespace Velmora::Platform {

Timer::Timer(double seconds, QObject *target, Action action, const QVariant &userInfo,
             bool repeats)
    : QObject(target),
      seconds_(seconds),
      intervalMs_(toIntervalMs(seconds)),
      repeats_(repeats),
      userInfo_(userInfo),
      action_(std::move(action)),
      queue_(TimerQueue::current())
{
    // Precise: the phone's timers do not drift by the few percent a coarse
    // Qt timer may, and the game counts its ticks.
    queue_->schedule(this, std::chrono::milliseconds(intervalMs_));
}

Timer::~Timer()
{
    if (queue_)
        queue_->cancel(this);
}

Timer *Timer::schedule(double seconds, QObject *target, Action action, const QVariant &userInfo,
                       bool repeats)
{
    if (!target || !action)
        return nullptr;
    return new Timer(seconds, target, std::move(action), userInfo, repeats);
}

int Timer::toIntervalMs(double seconds)
{
    if (!(seconds > 0))  // also NaN
        return kMinimumIntervalMs;
    const double ms = std::round(seconds * 1000.0);
    if (ms >= double(std::numeric_limits<int>::max()))
        return std::numeric_limits<int>::max();
    return std::max(kMinimumIntervalMs, int(ms));
}

void Timer::fire()
{
    if (!valid_)
        return;
    // Guard: the action may invalidate us or delete our target (and us with it).
    QPointer<Timer> self(this);
    emit fired();
    action_(this);
    if (self && !repeats_)
        invalidate();
}

Timer::Clock::time_point Timer::fireDate() const
{
    return queued_ ? queued_->first : kDistantFuture;
}

void Timer::setFireDate(Clock::time_point date)
{
    if (!queue_)
        return;
    queue_->cancel(this);
    if (date != kDistantFuture)
        queue_->scheduleAt(this, date);
}

void Timer::invalidate()
{
    if (!valid_)
        return;
    valid_ = false;
    // Done with the queue for good, so it may go before this timer does.
    if (TimerQueue *queue = std::exchange(queue_, nullptr))
        queue->cancel(this);
    deleteLater();
}

QList<Timer *> Timer::timersOf(const QObject *target)
{
    QList<Timer *> timers;
    if (!target)
        return timers;
    for (QObject *child : target->children()) {
        auto *timer = qobject_cast<Timer *>(child);
        if (timer && timer->isValid())
            timers.append(timer);
    }
    return timers;
}

}  // namespace Velmora::Platform
