#include "View/TSKVisibilityTracker.h"

#include "View/TSKAncestorWatch.h"

#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <utility>

TSKVisibilityTracker::TSKVisibilityTracker(QWidget *widget) : widget_(widget)
{
    watchAncestors();
    scheduleUpdate();
}

TSKVisibilityTracker::~TSKVisibilityTracker()
{
    unwatchAll();
}

bool TSKVisibilityTracker::isWidgetSeen(const QWidget *widget)
{
    // isVisible() already asks every ancestor up to the window.
    if (!widget || !widget->isVisible())
        return false;
    const QWidget *window = widget->window();
    const QWindow *handle = window->windowHandle();
    if (window->isMinimized() || !handle || !handle->isExposed())
        return false;
    return visibleShare(widget) >= kMinimumVisibleShare;
}

// The share of the widget's area left once each ancestor's rectangle has
// clipped it, in the widget's own coordinates.
double TSKVisibilityTracker::visibleShare(const QWidget *widget)
{
    const QRect whole = widget->rect();
    if (whole.isEmpty())
        return 0;
    QRect visible = whole;
    QPoint offset;
    for (const QWidget *child = widget; !child->isWindow() && child->parentWidget(); child = child->parentWidget()) {
        offset += child->pos();
        visible &= child->parentWidget()->rect().translated(-offset);
    }
    return double(visible.width()) * visible.height() / (double(whole.width()) * whole.height());
}

void TSKVisibilityTracker::watchAncestors()
{
    QList<QPointer<QObject>> chain;
    for (QWidget *ancestor = widget_; ancestor; ancestor = ancestor->parentWidget()) {
        chain.append(ancestor);
        if (ancestor->isWindow() && ancestor->windowHandle())
            chain.append(ancestor->windowHandle());
    }
    if (chain == watched_)
        return;
    unwatchAll();
    watched_ = chain;
    for (const QPointer<QObject> &object : std::as_const(watched_))
        TSKAncestorWatch::watch(object, this, &TSKVisibilityTracker::scheduleUpdate);
}

void TSKVisibilityTracker::unwatchAll()
{
    for (const QPointer<QObject> &object : std::as_const(watched_)) {
        if (object)
            TSKAncestorWatch::unwatch(object, this);
    }
    watched_.clear();
}

void TSKVisibilityTracker::scheduleUpdate()
{
    if (std::exchange(updateScheduled_, true))
        return;
    QMetaObject::invokeMethod(this, &TSKVisibilityTracker::update, Qt::QueuedConnection);
}

void TSKVisibilityTracker::update()
{
    updateScheduled_ = false;
    // A new ancestor, or a window that now has its platform window; not from
    // inside the filter, where Qt is walking the very lists this changes.
    watchAncestors();
    const bool seen = isWidgetSeen(widget_);
    if (seen == seen_)
        return;
    seen_ = seen;
    emit seenChanged(seen);
}
