#pragma once

#include <QList>
#include <QPointF>

class Ball;
class QWidget;
class Touch;

// Steers the player's ball through a round without a hand on the mouse: the
// screenshot tour and the CPU benchmark need a round that lasts.
class Autopilot
{
public:
    explicit Autopilot(Touch *round);

    // Presses the round's start button.
    void startRound();
    // Moves the player's ball to the spot farthest from the moving balls' next positions.
    void steer();

    static QPointF safestSpot(const QList<Ball *> &balls);

private:
    Touch *round_;
    QWidget *player_;
};
