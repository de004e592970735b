#pragma once

#include <QList>
#include <QPixmap>
#include <QWidget>

class Ball;

// Paints a round's moving balls over its play screen, every one from the one
// shared pixmap. The round moves the balls; the layer repaints where they
// were and are, and only while it can be seen: a covered round paints nothing.
class SpriteLayer : public QWidget
{
public:
    // `balls` belongs to the round and outlives the layer's painting.
    SpriteLayer(const QList<Ball> &balls, const QPixmap &sprite, QWidget *parent);

    const QPixmap &sprite() const { return sprite_; }
    // The balls moved, came or went.
    void refresh();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const QList<Ball> &balls_;
    QPixmap sprite_;
    // Where balls were last painted: cleared by the next refresh.
    QList<QRect> painted_;
};
