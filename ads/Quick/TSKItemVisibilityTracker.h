#pragma once

#include "View/TSKSeenSource.h"

#include <QMetaObject>
#include <QPointer>
#include <QRectF>

class QQuickItem;
class QQuickWindow;

// Whether a Qt Quick item can be seen by the player: it and every ancestor
// visible and not faded out, its window exposed and not minimised, at least
// half of its area inside its window and every clipping ancestor, and that
// half not covered by an opaque item painted above it (a Popup or Drawer, a
// Rectangle: what Qt Quick can tell is opaque). It looks again whenever the
// scene is about to be drawn and when the window changes, and settles once
// per turn of the event loop.
class TSKItemVisibilityTracker : public TSKSeenSource
{
    Q_OBJECT
public:
    explicit TSKItemVisibilityTracker(QQuickItem *item);
    ~TSKItemVisibilityTracker() override;

    // Judged now.
    static bool isItemSeen(const QQuickItem *item);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static bool isShown(const QQuickItem *item);
    static QRectF unclippedRect(const QQuickItem *item);
    static double coveredShare(const QQuickItem *item, const QRectF &visible);
    static bool isOpaque(const QQuickItem *item);
    void followWindow(QQuickWindow *window);
    void scheduleUpdate();
    void update();

    QPointer<QQuickItem> item_;
    QPointer<QQuickWindow> window_;
    QMetaObject::Connection frames_;
    QMetaObject::Connection visibility_;
    bool updateScheduled_ = false;
};
