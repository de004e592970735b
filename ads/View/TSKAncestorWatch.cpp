#include "View/TSKAncestorWatch.h"

#include "View/TSKVisibilityTracker.h"

#include <QEvent>

QHash<QObject *, TSKAncestorWatch *> &TSKAncestorWatch::watches()
{
    static QHash<QObject *, TSKAncestorWatch *> all;
    return all;
}

TSKAncestorWatch::TSKAncestorWatch(QObject *object) : object_(object)
{
    object->installEventFilter(this);
    // Gone with the object, before another can be built at its address.
    connect(object, &QObject::destroyed, this, [this] {
        watches().remove(object_);
        delete this;
    });
}

void TSKAncestorWatch::watch(QObject *object, TSKVisibilityTracker *tracker)
{
    TSKAncestorWatch *&watch = watches()[object];
    if (!watch)
        watch = new TSKAncestorWatch(object);
    watch->trackers_.append(tracker);
}

void TSKAncestorWatch::unwatch(QObject *object, TSKVisibilityTracker *tracker)
{
    const auto found = watches().constFind(object);
    if (found == watches().cend())
        return;
    TSKAncestorWatch *watch = *found;
    watch->trackers_.removeOne(tracker);
    if (!watch->trackers_.isEmpty())
        return;
    watches().erase(found);
    object->removeEventFilter(watch);
    delete watch;
}

bool TSKAncestorWatch::eventFilter(QObject *, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ParentChange:
    case QEvent::WinIdChange:
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Expose:
    case QEvent::WindowStateChange:
        for (TSKVisibilityTracker *tracker : std::as_const(trackers_))
            tracker->ancestorChanged();
        break;
    default:
        break;
    }
    return false;
}
