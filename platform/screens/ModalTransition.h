#pragma once

#include <QPixmap>
#include <QVariantAnimation>
#include <QWidget>
#include <functional>

namespace Velmora::Platform {

// The picture shown while one screen replaces another: a short animation of
// snapshots of both screens, laid over them, which removes itself at the end.
// Snapshots keep it simple and smooth: nothing underneath is moved or resized.
class ModalTransition : public QWidget
{
    Q_OBJECT
public:
    enum Style { CoverVertical = 0, FlipHorizontal = 1, CrossDissolve = 2 };
    enum Direction { Presenting, Dismissing };

    static constexpr int kDurationMs = 400;

    // `from` is the screen going away, `to` the one coming up; `done` runs
    // once, when the animation ends or finish() is called.
    ModalTransition(QWidget *host, QPixmap from, QPixmap to, int style, Direction direction,
                    std::function<void()> done);

    // Jumps to the end.
    void finish();
    // Not at its end yet.
    bool isRunning() const { return bool(done_); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void paintCoverVertical(QPainter &painter, double t);
    void paintFlipHorizontal(QPainter &painter, double t);
    void paintCrossDissolve(QPainter &painter, double t);

    QPixmap from_;
    QPixmap to_;
    int style_;
    Direction direction_;
    std::function<void()> done_;
    QVariantAnimation animation_;
};

}  // namespace Velmora::Platform
