#include "TickOutput.h"

#include <QTimer>

#include <cstdio>

namespace {

constexpr int kFlushDelayMs = 100;
// Two seconds of a thousand rounds' lines: the timer, not the size, writes them out.
char buffer[1 << 17];
bool flushPending = false;

}  // namespace

void TickOutput::bufferStandardOutput()
{
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}

void TickOutput::print(int tick)
{
    std::printf("%d\n", tick);
    if (flushPending)
        return;
    flushPending = true;
    QTimer::singleShot(kFlushDelayMs, [] {
        flushPending = false;
        std::fflush(stdout);
    });
}
