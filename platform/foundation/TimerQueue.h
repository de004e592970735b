#pragma once

#include <QBasicTimer>
#include <QObject>

#include <chrono>
#include <map>
#include <utility>

namespace Velmora::Platform {

class Timer;

// Every platform timer of a thread behind one Qt timer. Qt keeps its timers
// in a sorted list that each re-arm walks, so the thousands of repeating
// timers of a long session (every covered round keeps its own) would cost
// time that grows with their number at every tick; here a re-arm is a
// logarithmic insert. Timers due at the same moment fire in the order they
// were scheduled, and a repeating one keeps its cadence as a precise Qt
// timer does: its next deadline is one interval after the last, or one
// interval from now when it fell behind.
class TimerQueue : public QObject
{
public:
    using Clock = std::chrono::steady_clock;

    // The queue of the calling thread, made on first use and deleted with the
    // application object (a thread's own with the thread).
    static TimerQueue *current();

    ~TimerQueue() override;

    void schedule(Timer *timer, std::chrono::milliseconds interval);
    // The timer's next firing at `due`, its later ones at its own interval.
    void scheduleAt(Timer *timer, Clock::time_point due);
    void cancel(Timer *timer);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    // Deadline, then the order of scheduling.
    using Key = std::pair<Clock::time_point, quint64>;
    struct Entry {
        Timer *timer;
        std::chrono::milliseconds interval;
    };

    TimerQueue() = default;
    void insert(Clock::time_point due, Entry entry);
    void fireDue();
    void arm();

    std::map<Key, Entry> queue_;
    quint64 scheduled_ = 0;
    QBasicTimer wake_;
    Clock::time_point armedFor_ = Clock::time_point::max();
};

}  // namespace Velmora::Platform
