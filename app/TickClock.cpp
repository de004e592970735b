#include "TickClock.h"

#include "Timer.h"
#include "Touch.h"

using namespace Velmora::Platform;

void TickClock::watch(Touch *round)
{
    if (timer_)
        disconnect(timer_, nullptr, this, nullptr);
    timer_ = nullptr;
    stamps_.clear();
    for (Timer *timer : Timer::timersOf(round)) {
        if (timer->timeInterval() == Touch::kMotionInterval)
            timer_ = timer;
    }
    if (timer_)
        connect(timer_, &Timer::fired, this, [this] { stamps_.push_back(std::chrono::steady_clock::now()); });
}

std::vector<double> TickClock::takePeriods()
{
    std::vector<double> periods;
    for (size_t i = 1; i < stamps_.size(); ++i)
        periods.push_back(std::chrono::duration<double, std::milli>(stamps_[i] - stamps_[i - 1]).count());
    stamps_.clear();
    return periods;
}
