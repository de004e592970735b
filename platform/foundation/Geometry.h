#pragma once

#include <QPointF>
#include <QRectF>

namespace Velmora::Platform {

// Rectangle tests with the phone's rules, which differ from QRectF's.
namespace Geometry {

// True when the closed extents overlap on both axes: touching edges count
// and a zero-size rectangle is a point. QRectF::intersects() says no to
// empty rectangles and to rectangles that only touch.
bool rectIntersectsRect(const QRectF &a, const QRectF &b);

}  // namespace Geometry

}  // namespace Velmora::Platform
