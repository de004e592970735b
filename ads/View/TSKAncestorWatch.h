#pragma once

#include <QHash>
#include <QList>
#include <QObject>

class TSKVisibilityTracker;

// One event filter on a widget or window however many visibility trackers
// watch it. Every banner of a long session watches the same window, and a
// filter each would run all of that window's events through hundreds of
// filters; this one passes on only the events that can change what is seen.
class TSKAncestorWatch : public QObject
{
public:
    static void watch(QObject *object, TSKVisibilityTracker *tracker);
    static void unwatch(QObject *object, TSKVisibilityTracker *tracker);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit TSKAncestorWatch(QObject *object);

    static QHash<QObject *, TSKAncestorWatch *> &watches();

    QObject *object_;
    QList<TSKVisibilityTracker *> trackers_;
};
