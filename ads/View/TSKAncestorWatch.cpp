#include "View/TSKAncestorWatch.h"

#include <QEvent>
#include <QMetaMethod>

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

TSKAncestorWatch *TSKAncestorWatch::watchOf(QObject *object)
{
    TSKAncestorWatch *&watch = watches()[object];
    if (!watch)
        watch = new TSKAncestorWatch(object);
    return watch;
}

void TSKAncestorWatch::unwatch(QObject *object, QObject *watcher)
{
    const auto found = watches().constFind(object);
    if (found == watches().cend())
        return;
    TSKAncestorWatch *watch = *found;
    disconnect(watch, &TSKAncestorWatch::changed, watcher, nullptr);
    if (watch->isSignalConnected(QMetaMethod::fromSignal(&TSKAncestorWatch::changed)))
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
        emit changed();
        break;
    default:
        break;
    }
    return false;
}
