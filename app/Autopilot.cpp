#include "Autopilot.h"

#include "Touch.h"
#include "ViewGeometry.h"

#include <QLineF>
#include <QPushButton>

using namespace Velmora::Platform;

namespace {

QPointF nextCentre(const Ball &ball)
{
    return ball.center() + ball.pos();
}

}  // namespace

Autopilot::Autopilot(Touch *round)
    : round_(round)
    , player_(round->view()->findChild<QWidget *>(QStringLiteral("one")))
{
}

void Autopilot::startRound()
{
    round_->view()->findChild<QPushButton *>(QStringLiteral("starting"))->click();
}

void Autopilot::steer()
{
    ViewGeometry::setCenter(player_, safestSpot(round_->balls()));
}

QPointF Autopilot::collisionSpot() const
{
    const QPointF player = ViewGeometry::center(player_);
    QPointF nearest = player;
    double nearestDistance = 1e9;
    for (const Ball &ball : std::as_const(*round_).balls()) {
        const double distance = QLineF(player, nextCentre(ball)).length();
        if (distance < nearestDistance) {
            nearestDistance = distance;
            nearest = nextCentre(ball);
        }
    }
    return nearest;
}

std::optional<QPointF> Autopilot::pickupSpot() const
{
    const QWidget *plus = round_->view()->findChild<QWidget *>(QStringLiteral("plusScore"));
    if (!plus || plus->isHidden())
        return std::nullopt;
    return ViewGeometry::center(plus);
}

QPointF Autopilot::safestSpot(const QList<Ball> &balls)
{
    QPointF best;
    double bestDistance = -1;
    for (double x : {60.0, 160.0, 260.0}) {
        for (double y : {130.0, 240.0, 350.0}) {
            double nearest = 1e9;
            for (const Ball &ball : balls)
                nearest = qMin(nearest, QLineF(QPointF(x, y), nextCentre(ball)).length());
            if (nearest > bestDistance) {
                bestDistance = nearest;
                best = QPointF(x, y);
            }
        }
    }
    return best;
}
