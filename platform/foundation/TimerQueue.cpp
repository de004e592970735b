#include "TimerQueue.h"

#include "Timer.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QTimerEvent>

#include <algorithm>
#include <limits>

namespace Velmora::Platform {

namespace {
thread_local QPointer<TimerQueue> threadQueue;
}

TimerQueue *TimerQueue::current()
{
    if (!threadQueue) {
        threadQueue = new TimerQueue;
        QObject *owner = QCoreApplication::instance();
        if (!owner || owner->thread() != QThread::currentThread())
            QObject::connect(QThread::currentThread(), &QThread::finished, threadQueue, &QObject::deleteLater);
        else
            threadQueue->setParent(owner);
    }
    return threadQueue;
}

TimerQueue::~TimerQueue()
{
    // Timers that outlive the application (screens are never freed) fire no more.
    for (auto &[key, entry] : queue_) {
        entry.timer->queue_ = nullptr;
        entry.timer->queued_.reset();
    }
}

void TimerQueue::schedule(Timer *timer, std::chrono::milliseconds interval)
{
    insert(Clock::now() + interval, {timer, interval});
    arm();
}

void TimerQueue::scheduleAt(Timer *timer, Clock::time_point due)
{
    insert(due, {timer, std::chrono::milliseconds(timer->intervalMs())});
    arm();
}

void TimerQueue::cancel(Timer *timer)
{
    if (timer->queued_) {
        queue_.erase(*timer->queued_);
        timer->queued_.reset();
    }
}

void TimerQueue::insert(Clock::time_point due, Entry entry)
{
    const Key key{due, ++scheduled_};
    queue_.emplace(key, entry);
    entry.timer->queued_ = key;
}

void TimerQueue::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != wake_.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    armedFor_ = Clock::time_point::max();
    fireDue();
    arm();
}

void TimerQueue::fireDue()
{
    const Clock::time_point now = Clock::now();
    // A repeating timer is re-armed before it fires, always past `now`, so the
    // loop ends; the action may cancel or delete any timer, itself included.
    while (!queue_.empty() && queue_.begin()->first.first <= now) {
        const auto [key, entry] = *queue_.begin();
        queue_.erase(queue_.begin());
        entry.timer->queued_.reset();
        if (entry.timer->repeats()) {
            Clock::time_point next = key.first + entry.interval;
            if (next <= now)
                next = now + entry.interval;
            insert(next, entry);
        }
        entry.timer->fire();
    }
}

void TimerQueue::arm()
{
    if (queue_.empty()) {
        wake_.stop();
        armedFor_ = Clock::time_point::max();
        return;
    }
    const Clock::time_point due = queue_.begin()->first.first;
    if (due >= armedFor_ && wake_.isActive())
        return;
    using namespace std::chrono;
    const auto wait = ceil<milliseconds>(std::max(due - Clock::now(), Clock::duration::zero()));
    wake_.start(int(std::min<milliseconds::rep>(wait.count(), std::numeric_limits<int>::max())), Qt::PreciseTimer, this);
    armedFor_ = due;
}

}  // namespace Velmora::Platform
