#pragma once

#include <QObject>
#include <QPointer>

#include <chrono>
#include <vector>

class Touch;
namespace Velmora::Platform {
class Timer;
}

// When a round's motion timer fired, to tell how steady the round ran: the
// benchmarks and the autoplay bot report the periods between firings.
class TickClock : public QObject
{
public:
    using Stamp = std::chrono::steady_clock::time_point;

    // Watches the round's motion timer, if the round has started, instead of
    // the one watched before.
    void watch(Touch *round);
    // Milliseconds between consecutive firings, in order; forgets them.
    std::vector<double> takePeriods();

private:
    QPointer<Velmora::Platform::Timer> timer_;
    std::vector<Stamp> stamps_;
};
