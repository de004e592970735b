#pragma once

#include "Ball.h"

#include <QList>
#include <QPointF>
#include <optional>

class QWidget;
class Touch;

// Steers the player's ball through a round without a hand on the mouse: the
// screenshot tour, the benchmarks and the autoplay bot need a round that lasts.
// The spots are in the round's points.
class Autopilot
{
public:
    explicit Autopilot(Touch *round);

    // Presses the round's start button.
    void startRound();
    // Moves the player's ball to the spot farthest from the moving balls' next positions.
    void steer();

    // Where the nearest moving ball will be after the next motion tick: the
    // way to lose on purpose.
    QPointF collisionSpot() const;
    // The centre of a plus pick-up on the field, if one is there.
    std::optional<QPointF> pickupSpot() const;

    static QPointF safestSpot(const QList<Ball> &balls);

private:
    Touch *round_;
    QWidget *player_;
};
