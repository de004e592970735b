#include "RoundClock.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

using namespace Velmora::Platform;

namespace {

// As often as a round moves its balls: a covered round's tick is at most
// this late, and its tick lines keep their rate.
constexpr double kPassInterval = 0.05;

}  // namespace

RoundClock::RoundClock(QObject *parent)
    : QObject(parent)
{
}

QPointer<RoundClock> &RoundClock::instance()
{
    static QPointer<RoundClock> clock;
    return clock;
}

RoundClock *RoundClock::shared()
{
    if (!instance())
        instance() = new RoundClock(QCoreApplication::instance());
    return instance();
}

void RoundClock::cover(QObject *round, const std::vector<Lane> &lanes)
{
    if (!round || isCovered(round))
        return;
    Covered covered{round, {}, 0};
    for (const Lane &lane : lanes) {
        if (!lane.timer || !lane.timer->isValid())
            continue;
        const auto interval = std::chrono::milliseconds(lane.timer->intervalMs());
        covered.timers.push_back({lane.timer, lane.action, lane.skip, lane.timer->fireDate(), interval, 0});
        lane.timer->setFireDate(Timer::kDistantFuture);
    }
    std::stable_sort(covered.timers.begin(), covered.timers.end(), [](const Held &a, const Held &b) { return a.due < b.due; });
    for (Held &held : covered.timers)
        held.order = ++covered.scheduled;
    covered_.push_back(std::move(covered));
    wakeWhileCovered();
}

void RoundClock::uncover(QObject *round)
{
    const auto it = find(round);
    if (it == covered_.end())
        return;
    catchUp(*it, Clock::now());
    std::vector<Held> timers = std::move(it->timers);
    covered_.erase(it);
    // Handed back in firing order, so the queue keeps their ties.
    std::sort(timers.begin(), timers.end(),
              [](const Held &a, const Held &b) { return std::pair(a.due, a.order) < std::pair(b.due, b.order); });
    for (const Held &held : timers) {
        if (held.timer)
            held.timer->setFireDate(held.due);
    }
    wakeWhileCovered();
}

void RoundClock::forget(QObject *round)
{
    RoundClock *clock = instance();
    if (!clock)
        return;
    const auto it = clock->find(round);
    if (it == clock->covered_.end())
        return;
    clock->covered_.erase(it);
    clock->wakeWhileCovered();
}

bool RoundClock::isCovered(const QObject *round) const
{
    return std::any_of(covered_.begin(), covered_.end(), [round](const Covered &c) { return c.round == round; });
}

void RoundClock::advance(Clock::time_point now)
{
    for (size_t i = 0; i < covered_.size(); ++i)
        catchUp(covered_[i], now);
}

// The round's firings due by `now`, earliest first, ties in scheduling order.
void RoundClock::catchUp(Covered &covered, Clock::time_point now)
{
    while (covered.round) {
        Held *next = nullptr;
        for (Held &held : covered.timers) {
            if (held.due <= now && (!next || std::pair(held.due, held.order) < std::pair(next->due, next->order)))
                next = &held;
        }
        if (!next)
            return;
        // Checked once a firing rather than in the scan: a thousand firings a second read no guard.
        if (!next->timer) {
            next->due = Clock::time_point::max();
            continue;
        }
        next->due += next->interval;
        next->order = ++covered.scheduled;
        if (next->skip && next->due <= now)
            next->skip();
        else
            next->action();
    }
}

void RoundClock::wakeWhileCovered()
{
    if (covered_.empty()) {
        if (wake_)
            wake_->invalidate();
        return;
    }
    if (!wake_ || !wake_->isValid())
        wake_ = Timer::schedule(kPassInterval, this, [this](Timer *) { advance(Clock::now()); }, {}, true);
}

std::deque<RoundClock::Covered>::iterator RoundClock::find(const QObject *round)
{
    return std::find_if(covered_.begin(), covered_.end(), [round](const Covered &c) { return c.round == round; });
}
