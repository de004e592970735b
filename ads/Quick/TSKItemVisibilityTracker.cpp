#include "Quick/TSKItemVisibilityTracker.h"

#include <QColor>
#include <QQuickItem>
#include <QQuickWindow>
#include <utility>

TSKItemVisibilityTracker::TSKItemVisibilityTracker(QQuickItem *item) : item_(item)
{
    connect(item, &QQuickItem::windowChanged, this, &TSKItemVisibilityTracker::followWindow);
    connect(item, &QQuickItem::visibleChanged, this, &TSKItemVisibilityTracker::scheduleUpdate);
    followWindow(item->window());
}

TSKItemVisibilityTracker::~TSKItemVisibilityTracker()
{
    if (window_)
        window_->removeEventFilter(this);
}

void TSKItemVisibilityTracker::followWindow(QQuickWindow *window)
{
    if (window_)
        window_->removeEventFilter(this);
    disconnect(frames_);
    disconnect(visibility_);
    window_ = window;
    if (window) {
        // Anything that moves, clips or covers the item makes a new frame.
        frames_ = connect(window, &QQuickWindow::afterAnimating, this, &TSKItemVisibilityTracker::scheduleUpdate);
        visibility_ = connect(window, &QWindow::visibilityChanged, this, &TSKItemVisibilityTracker::scheduleUpdate);
        window->installEventFilter(this);
    }
    scheduleUpdate();
}

bool TSKItemVisibilityTracker::eventFilter(QObject *, QEvent *event)
{
    if (event->type() == QEvent::Expose || event->type() == QEvent::WindowStateChange)
        scheduleUpdate();
    return false;
}

void TSKItemVisibilityTracker::scheduleUpdate()
{
    if (std::exchange(updateScheduled_, true))
        return;
    QMetaObject::invokeMethod(this, &TSKItemVisibilityTracker::update, Qt::QueuedConnection);
}

void TSKItemVisibilityTracker::update()
{
    updateScheduled_ = false;
    setSeen(isItemSeen(item_));
}

bool TSKItemVisibilityTracker::isItemSeen(const QQuickItem *item)
{
    if (!item || !isShown(item))
        return false;
    const QQuickWindow *window = item->window();
    if (!window || !window->isExposed() || window->visibility() == QWindow::Minimized
        || window->visibility() == QWindow::Hidden)
        return false;
    const QRectF whole(0, 0, item->width(), item->height());
    if (whole.isEmpty())
        return false;
    const QRectF visible = unclippedRect(item);
    const double area = whole.width() * whole.height();
    const double visibleArea = visible.width() * visible.height() * (1.0 - coveredShare(item, visible));
    return visibleArea / area >= kMinimumVisibleShare;
}

// isVisible() already asks every ancestor; a faded ancestor fades the item.
bool TSKItemVisibilityTracker::isShown(const QQuickItem *item)
{
    if (!item->isVisible())
        return false;
    for (const QQuickItem *ancestor = item; ancestor; ancestor = ancestor->parentItem()) {
        if (ancestor->opacity() <= 0)
            return false;
    }
    return true;
}

// What is left of the item, in its own coordinates, once every clipping
// ancestor and the window have clipped it.
QRectF TSKItemVisibilityTracker::unclippedRect(const QQuickItem *item)
{
    QRectF visible(0, 0, item->width(), item->height());
    for (const QQuickItem *ancestor = item->parentItem(); ancestor; ancestor = ancestor->parentItem()) {
        if (ancestor->clip())
            visible &= item->mapRectFromItem(ancestor, QRectF(0, 0, ancestor->width(), ancestor->height()));
    }
    const QQuickWindow *window = item->window();
    visible &= item->mapRectFromScene(QRectF(0, 0, window->width(), window->height()));
    return visible.isValid() ? visible : QRectF();
}

// The share of `visible` under opaque items painted later than the item or
// one of its ancestors: their later siblings, in painting order, and all
// they hold. Overlapping covers are not told apart; the largest one counts.
double TSKItemVisibilityTracker::coveredShare(const QQuickItem *item, const QRectF &visible)
{
    if (visible.isEmpty())
        return 0;
    double covered = 0;
    for (const QQuickItem *child = item; child->parentItem(); child = child->parentItem()) {
        const QList<QQuickItem *> siblings = child->parentItem()->childItems();
        // Painting order: by z, then by place among the siblings.
        for (const QQuickItem *sibling : siblings) {
            const bool above = sibling->z() > child->z()
                || (sibling->z() == child->z() && siblings.indexOf(sibling) > siblings.indexOf(child));
            if (!above || !sibling->isVisible() || sibling->opacity() < 1.0)
                continue;
            QList<const QQuickItem *> covers{sibling};
            while (!covers.isEmpty()) {
                const QQuickItem *cover = covers.takeLast();
                if (!cover->isVisible() || cover->opacity() < 1.0)
                    continue;
                if (isOpaque(cover)) {
                    const QRectF over = item->mapRectFromItem(cover, QRectF(0, 0, cover->width(), cover->height())) & visible;
                    covered = std::max(covered, over.width() * over.height() / (visible.width() * visible.height()));
                    continue;
                }
                // A page is drawn by the web engine, whose own items are not
                // Qt Quick items to C++: it covers nothing that can be known.
                if (cover->inherits("QQuickWebEngineView"))
                    continue;
                for (const QQuickItem *held : cover->childItems())
                    covers.append(held);
            }
        }
    }
    return covered;
}

// A filled rectangle, or a control (a Popup's, a Drawer's) whose background is one.
bool TSKItemVisibilityTracker::isOpaque(const QQuickItem *item)
{
    if (item->inherits("QQuickRectangle"))
        return item->property("color").value<QColor>().alpha() == 255;
    const auto *background = item->property("background").value<QQuickItem *>();
    return background && background->isVisible() && background->opacity() >= 1.0 && isOpaque(background)
        && background->width() >= item->width() && background->height() >= item->height();
}
