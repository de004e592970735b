#include "SpriteLayer.h"

#include "Ball.h"

#include <QPainter>

SpriteLayer::SpriteLayer(const QList<Ball> &balls, const QPixmap &sprite, QWidget *parent)
    : QWidget(parent)
    , balls_(balls)
    , sprite_(sprite)
{
    setObjectName(QStringLiteral("sprites"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setGeometry(parent->rect());
}

void SpriteLayer::refresh()
{
    if (!isVisible())
        return;
    for (const QRect &was : std::as_const(painted_))
        update(was);
    for (const Ball &ball : balls_)
        update(ball.frame().toRect());
}

// A ball is drawn where a widget with its frame would be: the frame rounded
// to whole points.
void SpriteLayer::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painted_.clear();
    for (const Ball &ball : balls_) {
        const QRect at = ball.frame().toRect();
        painter.drawPixmap(at, sprite_);
        painted_.append(at);
    }
}
