#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

class QWidget;

// Whether a widget can be seen by the player: it and every ancestor visible,
// its window exposed and not minimised, and at least half of its area inside
// what its ancestors do not clip away (a scroll area's viewport, say). It
// follows Qt's own events on the widget, its ancestors and its window, and
// settles once per turn of the event loop however many of them arrive.
class TSKVisibilityTracker : public QObject
{
    Q_OBJECT
public:
    static constexpr double kMinimumVisibleShare = 0.5;

    explicit TSKVisibilityTracker(QWidget *widget);
    ~TSKVisibilityTracker() override;

    bool isSeen() const { return seen_; }
    // Judged now, without waiting for the events to settle.
    static bool isWidgetSeen(const QWidget *widget);

signals:
    void seenChanged(bool seen);

private:
    static double visibleShare(const QWidget *widget);
    void watchAncestors();
    void unwatchAll();
    void scheduleUpdate();
    void update();

    QPointer<QWidget> widget_;
    QList<QPointer<QObject>> watched_;
    bool seen_ = false;
    bool updateScheduled_ = false;
};
