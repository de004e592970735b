#include "Geometry.h"

namespace Velmora::Platform {

bool Geometry::rectIntersectsRect(const QRectF &a, const QRectF &b)
{
    // Negative sizes describe the same area as their normalised form.
    const QRectF r = a.normalized(), s = b.normalized();
    return r.left() <= s.right() && s.left() <= r.right() && r.top() <= s.bottom()
        && s.top() <= r.bottom();
}

}  // namespace Velmora::Platform
