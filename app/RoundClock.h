#pragma once

#include "Timer.h"

#include <QObject>
#include <QPointer>

#include <deque>
#include <functional>
#include <vector>

// Drives every covered round. A covered round's repeating timers wait in the
// distant future while one clock, waking once a motion interval, runs what
// they would have done: each timer's firings due by then, in the order the
// platform's queue would have fired them, the program woken once for all.
// A firing whose effect the same timer's next firing in the pass overwrites
// (a pick-up placed where nobody sees it) runs as its `skip` instead, which
// keeps its random draws and leaves the screen alone. Uncovered, a round
// gets its timers back, due where the clock left them.
class RoundClock : public QObject
{
public:
    using Clock = Velmora::Platform::Timer::Clock;

    // A repeating timer and what its firing does, run here without the
    // timer: a covered round's tick touches no timer object.
    struct Lane {
        Velmora::Platform::Timer *timer;
        std::function<void()> action;
        // Empty: every firing runs the action.
        std::function<void()> skip;
    };

    // The application's one clock, made on first use.
    static RoundClock *shared();

    // The round's repeating timers move to this clock until uncover().
    void cover(QObject *round, const std::vector<Lane> &lanes);
    void uncover(QObject *round);
    // A round going away while covered: nothing more of it runs.
    static void forget(QObject *round);
    bool isCovered(const QObject *round) const;

    // Runs every covered round's firings due by `now`; the clock's own timer
    // passes the time, tests their own.
    void advance(Clock::time_point now);

private:
    struct Held {
        QPointer<Velmora::Platform::Timer> timer;
        std::function<void()> action;
        std::function<void()> skip;
        Clock::time_point due;
        Clock::duration interval;
        // Ties fire in the order the timers were last scheduled, as on the platform's queue.
        quint64 order;
    };
    struct Covered {
        QPointer<QObject> round;
        std::vector<Held> timers;
        quint64 scheduled = 0;
    };

    explicit RoundClock(QObject *parent);
    static QPointer<RoundClock> &instance();
    static void catchUp(Covered &covered, Clock::time_point now);
    void wakeWhileCovered();
    std::deque<Covered>::iterator find(const QObject *round);

    // A deque: a round covered from inside a firing leaves the others where they are.
    std::deque<Covered> covered_;
    QPointer<Velmora::Platform::Timer> wake_;
};
