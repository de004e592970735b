#include "ViewGeometry.h"

#include <QHash>
#include <QWidget>

namespace Velmora::Platform {

namespace {

// Point frames by view, found by a hash rather than a dynamic property's
// name (a covered round may move a pick-up a thousand times a second). Never
// destroyed, so a view that outlives the program's statics can still leave it.
QHash<const QWidget *, QRectF> &storedFrames()
{
    static auto *frames = new QHash<const QWidget *, QRectF>;
    return *frames;
}

}  // namespace

QRectF ViewGeometry::frame(const QWidget *view)
{
    if (!view)
        return {};
    // A widget moved elsewhere (a layout, move()) has left its stored frame
    // behind. Only the origin is compared: a minimum size may keep the
    // widget larger than a frame of zero size, which must still count as zero.
    const auto stored = storedFrames().constFind(view);
    if (stored != storedFrames().cend() && stored->toRect().topLeft() == view->pos())
        return *stored;
    return QRectF(view->geometry());
}

void ViewGeometry::setFrame(QWidget *view, const QRectF &frame)
{
    if (!view)
        return;
    QHash<const QWidget *, QRectF> &frames = storedFrames();
    auto stored = frames.find(view);
    if (stored == frames.end()) {
        frames.insert(view, frame);
        QObject::connect(view, &QObject::destroyed, [view] { storedFrames().remove(view); });
    } else {
        *stored = frame;
    }
    view->setGeometry(frame.toRect());
}

QPointF ViewGeometry::center(const QWidget *view)
{
    return frame(view).center();
}

void ViewGeometry::setCenter(QWidget *view, const QPointF &center)
{
    QRectF moved = frame(view);
    moved.moveCenter(center);
    setFrame(view, moved);
}

}  // namespace Velmora::Platform
