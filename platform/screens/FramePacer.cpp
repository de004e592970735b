#include "FramePacer.h"

#include <QCoreApplication>
#include <QScreen>
#include <QWidget>
#include <algorithm>

namespace Velmora::Platform {

namespace {

constexpr double kFallbackRefreshRate = 60;
constexpr double kLowestRefreshRate = 24;

}  // namespace

FramePacer::FramePacer(QWidget *window) : QObject(window), window_(window)
{
    nextFrame_.setSingleShot(true);
    nextFrame_.setTimerType(Qt::PreciseTimer);
    connect(&nextFrame_, &QTimer::timeout, this, &FramePacer::paintNow);
    window->installEventFilter(this);
}

// Qt's widgets keep what changed until the window paints, and ask once
// more only after that: a request held back here loses nothing.
bool FramePacer::eventFilter(QObject *, QEvent *event)
{
    if (event->type() != QEvent::UpdateRequest || painting_)
        return false;
    if (nextFrame_.isActive())
        return true;
    const qint64 wait = sinceLastPaint_.isValid() ? frameNanoseconds() - sinceLastPaint_.nsecsElapsed() : 0;
    if (wait <= 0) {
        sinceLastPaint_.start();
        return false;
    }
    nextFrame_.start(int((wait + 999'999) / 1'000'000));
    return true;
}

void FramePacer::paintNow()
{
    sinceLastPaint_.start();
    QEvent request(QEvent::UpdateRequest);
    painting_ = true;
    QCoreApplication::sendEvent(window_, &request);
    painting_ = false;
}

qint64 FramePacer::frameNanoseconds() const
{
    const QScreen *screen = window_->screen();
    const double rate = screen && screen->refreshRate() > 0 ? screen->refreshRate() : kFallbackRefreshRate;
    return qint64(1e9 / std::max(rate, kLowestRefreshRate));
}

}  // namespace Velmora::Platform
