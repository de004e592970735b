#pragma once

#include <functional>

namespace Velmora::Platform {

// Seconds on a clock that never goes back while the machine runs (it restarts
// lower after a reboot). Tests install their own source to move time at will.
namespace MonotonicClock {

using Source = std::function<double()>;

// Replaces the source; an empty function restores the steady clock.
void setSource(Source source);

double seconds();

}  // namespace MonotonicClock

}  // namespace Velmora::Platform
