#pragma once

#include <QPointF>
#include <QRectF>

class QWidget;

namespace Velmora::Platform {

// Frames and centres of views in points, as floating-point values held by
// the view. Widget geometry is whole points only; motion made of fractional
// steps (5.5 points a tick) must not lose the fractions, so the exact frame
// is kept with the widget and its geometry is the frame rounded.
namespace ViewGeometry {

// The frame last set here, or the widget's geometry if none was.
QRectF frame(const QWidget *view);
void setFrame(QWidget *view, const QRectF &frame);

QPointF center(const QWidget *view);
// Moves the frame so its centre is at the point; the size is kept.
void setCenter(QWidget *view, const QPointF &center);

}  // namespace ViewGeometry

}  // namespace Velmora::Platform
