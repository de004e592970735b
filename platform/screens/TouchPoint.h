#pragma once

#include "PlatformExport.h"

#include <QPointF>
#include <QPointer>
#include <QWidget>

namespace Velmora::Platform {

/// One finger (or the mouse) on the screen, as a controller's touch handlers
/// receive it. Locations are in points of the view the touch belongs to and
/// can be asked for in any other view.
class VELMORAPLATFORM_EXPORT TouchPoint
{
public:
    enum Phase { Began, Moved, Stationary, Ended, Cancelled };

    TouchPoint(QWidget *view, QPointF location, QPointF previousLocation, Phase phase,
               int tapCount, double timestamp);

    QWidget *view() const { return view_; }
    Phase phase() const { return phase_; }
    int tapCount() const { return tapCount_; }
    /// Seconds, on the input system's clock.
    double timestamp() const { return timestamp_; }

    /// In the given view's points; a null view means the window's.
    QPointF locationInView(const QWidget *view) const;
    QPointF previousLocationInView(const QWidget *view) const;

private:
    QPointF mapped(QPointF point, const QWidget *view) const;

    QPointer<QWidget> view_;
    QPointF location_;
    QPointF previousLocation_;
    Phase phase_;
    int tapCount_;
    double timestamp_;
};

}  // namespace Velmora::Platform
