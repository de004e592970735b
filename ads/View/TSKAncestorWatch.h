#pragma once

#include <QHash>
#include <QObject>

// One event filter on a widget or window however many visibility trackers
// watch it. Every banner of a long session watches the same window, and a
// filter each would run all of that window's events through hundreds of
// filters; this one passes on only the events that can change what is seen.
class TSKAncestorWatch : public QObject
{
    Q_OBJECT
public:
    // `watcher` hears through `slot` of each such event on `object`, until it unwatches.
    template <class Watcher>
    static void watch(QObject *object, Watcher *watcher, void (Watcher::*slot)())
    {
        connect(watchOf(object), &TSKAncestorWatch::changed, watcher, slot);
    }
    // The last watcher to leave ends the watch.
    static void unwatch(QObject *object, QObject *watcher);

signals:
    void changed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit TSKAncestorWatch(QObject *object);

    static TSKAncestorWatch *watchOf(QObject *object);
    static QHash<QObject *, TSKAncestorWatch *> &watches();

    QObject *object_;
};
