#include "TouchPoint.h"

namespace Velmora::Platform {

TouchPoint::TouchPoint(QWidget *view, QPointF location, QPointF previousLocation, Phase phase,
                       int tapCount, double timestamp)
    : view_(view),
      location_(location),
      previousLocation_(previousLocation),
      phase_(phase),
      tapCount_(tapCount),
      timestamp_(timestamp)
{
}

QPointF TouchPoint::locationInView(const QWidget *view) const
{
    return mapped(location_, view);
}

QPointF TouchPoint::previousLocationInView(const QWidget *view) const
{
    return mapped(previousLocation_, view);
}

QPointF TouchPoint::mapped(QPointF point, const QWidget *view) const
{
    if (!view_ || view == view_)
        return point;
    QWidget *window = view_->window();
    const QPointF inWindow = view_->mapTo(window, point);
    return view ? view->mapFrom(window, inWindow) : inWindow;
}

}  // namespace Velmora::Platform
