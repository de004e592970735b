#include "Quick/TSKQuickPicture.h"

#include <QPainter>

TSKQuickPicture::TSKQuickPicture(const QPixmap &picture, QQuickItem *place)
    : QQuickPaintedItem(place), picture_(picture)
{
    setAntialiasing(true);
    fill();
    connect(place, &QQuickItem::widthChanged, this, &TSKQuickPicture::fill);
    connect(place, &QQuickItem::heightChanged, this, &TSKQuickPicture::fill);
}

void TSKQuickPicture::paint(QPainter *painter)
{
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawPixmap(QRectF(0, 0, width(), height()), picture_, picture_.rect());
}

void TSKQuickPicture::fill()
{
    setSize(parentItem()->size());
}
