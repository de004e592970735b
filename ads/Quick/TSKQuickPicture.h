#pragma once

#include <QPixmap>
#include <QQuickPaintedItem>

// One of the library's pictures filling an item of a screen's chrome, drawn
// by an item of its own: its drawing goes with the item, where an Image's
// texture waits in the scene graph for a frame after the image has gone, and
// stays behind in a program that quits first.
class TSKQuickPicture : public QQuickPaintedItem
{
public:
    TSKQuickPicture(const QPixmap &picture, QQuickItem *place);

    void paint(QPainter *painter) override;

private:
    void fill();

    QPixmap picture_;
};
