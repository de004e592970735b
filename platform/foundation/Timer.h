#pragma once

#include <QObject>
#include <QPointer>
#include <QVariant>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace Velmora::Platform {

class TimerQueue;

// A timer with the phone's semantics: scheduled on the GUI thread's event
// loop when created, firing a member function of its target once or
// repeatedly until invalidated.
//
// Lifetime: the timer is a child of its target, so it never outlives it. An
// invalidated timer (and a one-shot timer once it has fired) deletes itself
// on the next turn of the event loop; keep a QPointer<Timer> to hold on to
// one across turns. The game's pattern of scheduling and never touching the
// timer again needs nothing.
class Timer : public QObject
{
    Q_OBJECT
public:
    using Action = std::function<void(Timer *)>;
    using Clock = std::chrono::steady_clock;
    // A fire date that never comes: the timer stays valid but waits, as a
    // phone's timer moved to the distant future does.
    static constexpr Clock::time_point kDistantFuture = Clock::time_point::max();

    // Intervals of 0 or less become the shortest the platform offers, 1 ms.
    static constexpr int kMinimumIntervalMs = 1;

    template <class T>
    static Timer *scheduledTimerWithTimeInterval(double seconds, T *target, void (T::*method)(),
                                                 const QVariant &userInfo, bool repeats)
    {
        return schedule(seconds, target, [target, method](Timer *) { (target->*method)(); },
                        userInfo, repeats);
    }

    // For actions that want the timer itself, e.g. to read its user info.
    template <class T>
    static Timer *scheduledTimerWithTimeInterval(double seconds, T *target,
                                                 void (T::*method)(Timer *),
                                                 const QVariant &userInfo, bool repeats)
    {
        return schedule(seconds, target, [target, method](Timer *t) { (target->*method)(t); },
                        userInfo, repeats);
    }

    static Timer *schedule(double seconds, QObject *target, Action action,
                           const QVariant &userInfo = {}, bool repeats = false);

    // Runs the action now. A repeating timer keeps its schedule; a one-shot
    // timer is invalidated, as when it fires by itself. Tests drive time here.
    void fire();
    void invalidate();
    bool isValid() const { return valid_; }

    // When it fires next; kDistantFuture while it waits for good.
    Clock::time_point fireDate() const;
    // Moves the next firing; a repeating timer keeps its interval from there.
    void setFireDate(Clock::time_point date);

    double timeInterval() const { return seconds_; }
    // The interval actually used by the event loop.
    int intervalMs() const { return intervalMs_; }
    bool repeats() const { return repeats_; }
    const QVariant &userInfo() const { return userInfo_; }
    QObject *target() const { return parent(); }

    // The valid timers aimed at a target, oldest first.
    static QList<Timer *> timersOf(const QObject *target);

    ~Timer() override;

signals:
    // Each time the action is about to run, whether the queue or fire() ran it.
    void fired();

private:
    friend class TimerQueue;

    Timer(double seconds, QObject *target, Action action, const QVariant &userInfo, bool repeats);

    static int toIntervalMs(double seconds);

    double seconds_;
    int intervalMs_;
    bool repeats_;
    bool valid_ = true;
    QVariant userInfo_;
    Action action_;
    // Where the thread's queue holds it while it waits to fire.
    TimerQueue *queue_;
    std::optional<std::pair<Clock::time_point, quint64>> queued_;
};

}  // namespace Velmora::Platform
