#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>

// A moving yellow ball as plain data: its frame in points and its velocity.
// Every round the player ever started keeps moving its balls, covered or
// not, so a ball is a few floats that the round's sprite layer paints, not a
// widget of its own.
class Ball
{
public:
    Ball(QSizeF size, QPointF centre, QPointF velocity);

    QRectF frame() const { return QRectF(x_, y_, width_, height_); }
    QPointF center() const { return frame().center(); }
    void setCenter(QPointF centre);

    // Points the centre moves per motion tick; x to the right, y downwards.
    QPointF pos() const { return QPointF(posX_, posY_); }
    void setPos(QPointF velocity);

    // One motion tick on a field of that size: the centre moves by the
    // velocity, then turns back on each axis where it is past an edge.
    void move(QSizeF field);

private:
    float x_ = 0;
    float y_ = 0;
    float width_;
    float height_;
    // Stored as 32-bit floats, as the velocity always has been.
    float posX_;
    float posY_;
};
