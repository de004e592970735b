#pragma once

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <functional>

namespace testsupport {

// Waits in a real event loop: QTest's waits sleep between rounds, and the web
// engine, which runs on this thread, then takes seconds for a page load.
inline bool waitUntil(const std::function<bool()> &done, int timeoutMs = 30000)
{
    const QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done() || deadline.hasExpired())
            loop.quit();
    });
    poll.start(5);
    if (!done())
        loop.exec();
    return done();
}

// Lets the event loop run for a while, for checks that nothing happens.
inline void spin(int milliseconds)
{
    waitUntil([] { return false; }, milliseconds);
}

}  // namespace testsupport
