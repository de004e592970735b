#include "MonotonicClock.h"

#include <chrono>
#include <utility>

namespace Velmora::Platform {

namespace {

MonotonicClock::Source &installedSource()
{
    static MonotonicClock::Source source;
    return source;
}

double steadySeconds()
{
    using Seconds = std::chrono::duration<double>;
    return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void MonotonicClock::setSource(Source source)
{
    installedSource() = std::move(source);
}

double MonotonicClock::seconds()
{
    const MonotonicClock::Source &source = installedSource();
    return source ? source() : steadySeconds();
}

}  // namespace Velmora::Platform
