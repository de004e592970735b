#include "Geometry.h"

#include <utility>

namespace Velmora::Platform {

namespace {

// One axis's closed extent, lowest first; a negative size describes the same
// extent as its normalised form. Worked out here rather than by a library
// call, since every round asks for every ball at every tick.
std::pair<double, double> extent(double origin, double size)
{
    if (size >= 0)
        return {origin, origin + size};
    const double low = origin + size;
    return {low, low - size};
}

}  // namespace

bool Geometry::rectIntersectsRect(const QRectF &a, const QRectF &b)
{
    const auto [ax0, ax1] = extent(a.x(), a.width());
    const auto [bx0, bx1] = extent(b.x(), b.width());
    const auto [ay0, ay1] = extent(a.y(), a.height());
    const auto [by0, by1] = extent(b.y(), b.height());
    return ax0 <= bx1 && bx0 <= ax1 && ay0 <= by1 && by0 <= ay1;
}

}  // namespace Velmora::Platform
