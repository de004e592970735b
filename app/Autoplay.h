#pragma once

#include "TickClock.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <optional>

class Autopilot;
class Over;
class Touch;
namespace Velmora::Platform {
class ViewController;
class Window;
}

// `--autoplay N`: a bot that plays N rounds the way a player does, through
// mouse events on the window. In each round it presses Start, drags the
// player's ball away from the moving balls, takes a plus pick-up when one is
// safe to reach, and once the round limit has passed walks into a ball. On
// the game-over screen it prints "round K: score S, D s" to standard output
// and presses Retry (Menu every fourth round); after the last round it quits
// with status 0. The periods of each round's motion ticks go to standard
// error as "round K tick periods (ms): P P ...", for the soak benchmark.
class Autoplay : public QObject
{
    Q_OBJECT
public:
    Autoplay(Velmora::Platform::Window *window, Velmora::Platform::ViewController *root, int rounds, double roundLimitSeconds);
    ~Autoplay() override;

    void start();
    int roundsPlayed() const { return roundsPlayed_; }

signals:
    void finished();

private:
    void step();
    Velmora::Platform::ViewController *topScreen() const;
    void play(Touch *round);
    void leave(Over *over);
    void reportTickPeriods();
    QPointF target(Touch *round) const;

    // Through the window's mouse events, as a player presses, not the button's click().
    void tap(const char *buttonName, Velmora::Platform::ViewController *screen);
    void drag(Velmora::Platform::ViewController *screen, QPointF location);
    void sendMouse(int type, QPointF windowLocation, int button, int buttons);

    Velmora::Platform::Window *window_;
    QPointer<Velmora::Platform::ViewController> root_;
    int rounds_;
    double roundLimitSeconds_;
    int roundsPlayed_ = 0;
    QTimer stepTimer_;
    QPointer<Touch> round_;
    std::unique_ptr<Autopilot> pilot_;
    QElapsedTimer roundClock_;
    TickClock tickClock_;
    std::optional<double> roundSeconds_;
    bool pressed_ = false;
    QPointF lastLocation_;
    QPointer<Over> reported_;
};
