#pragma once

#include <QLabel>
#include <QPointF>

// A moving yellow ball: an image view that also carries its velocity.
class Ball : public QLabel
{
    Q_OBJECT
public:
    // Sized to the image, in points, like any image view made from an image.
    Ball(const QPixmap &image, QWidget *parent);

    // Points the centre moves per motion tick; x to the right, y downwards.
    QPointF pos() const { return QPointF(posX_, posY_); }
    void setPos(QPointF velocity);

private:
    // Stored as 32-bit floats, as the velocity always has been.
    float posX_ = 0;
    float posY_ = 0;
};
