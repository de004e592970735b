#include "Ball.h"

Ball::Ball(QSizeF size, QPointF centre, QPointF velocity)
    : width_(float(size.width()))
    , height_(float(size.height()))
{
    setCenter(centre);
    setPos(velocity);
}

void Ball::setCenter(QPointF centre)
{
    QRectF moved = frame();
    moved.moveCenter(centre);
    x_ = float(moved.x());
    y_ = float(moved.y());
}

void Ball::setPos(QPointF velocity)
{
    posX_ = float(velocity.x());
    posY_ = float(velocity.y());
}

// Bounces test the centre, strictly, so a ball exactly on an edge goes on.
void Ball::move(QSizeF field)
{
    // As frame().moveCenter(center() + pos()), without building the rectangles.
    x_ = float(double(x_) + double(width_) / 2 + double(posX_) - double(width_) / 2);
    y_ = float(double(y_) + double(height_) / 2 + double(posY_) - double(height_) / 2);
    const QPointF c = center();
    if (c.x() > field.width() || c.x() < 0)
        posX_ = -posX_;
    if (c.y() > field.height() || c.y() < 0)
        posY_ = -posY_;
}
