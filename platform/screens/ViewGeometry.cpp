#include "ViewGeometry.h"

#include <QVariant>
#include <QWidget>

namespace Velmora::Platform {

namespace {

constexpr const char *kFrameProperty = "_pointFrame";

}  // namespace

QRectF ViewGeometry::frame(const QWidget *view)
{
    if (!view)
        return {};
    // A widget moved elsewhere (a layout, move()) has left its stored frame
    // behind. Only the origin is compared: a minimum size may keep the
    // widget larger than a frame of zero size, which must still count as zero.
    const QVariant stored = view->property(kFrameProperty);
    if (stored.isValid() && stored.toRectF().toRect().topLeft() == view->pos())
        return stored.toRectF();
    return QRectF(view->geometry());
}

void ViewGeometry::setFrame(QWidget *view, const QRectF &frame)
{
    if (!view)
        return;
    view->setProperty(kFrameProperty, frame);
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
