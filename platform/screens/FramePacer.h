#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class QWidget;

namespace Velmora::Platform {

// Paints a window at most once a display frame. Qt repaints a window on the
// first turn of the event loop after anything in it changed, so a label
// moved every millisecond costs a thousand paints a second that no display
// shows. A repaint asked for within a frame of the last one waits for the
// next frame, and everything changed by then is painted together.
class FramePacer : public QObject
{
public:
    // Paces the window; it owns the pacer.
    explicit FramePacer(QWidget *window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void paintNow();
    qint64 frameNanoseconds() const;

    QWidget *window_;
    QElapsedTimer sinceLastPaint_;
    QTimer nextFrame_;
    bool painting_ = false;
};

}  // namespace Velmora::Platform
