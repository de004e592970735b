#include "Ball.h"

#include "ViewGeometry.h"

using namespace Velmora::Platform;

Ball::Ball(const QPixmap &image, QWidget *parent)
    : QLabel(parent)
{
    setPixmap(image);
    setScaledContents(true);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    ViewGeometry::setFrame(this, QRectF(QPointF(0, 0), image.deviceIndependentSize()));
}

void Ball::setPos(QPointF velocity)
{
    posX_ = float(velocity.x());
    posY_ = float(velocity.y());
}
