#include "Autoplay.h"

#include "Autopilot.h"
#include "Over.h"
#include "ScreenStack.h"
#include "Touch.h"
#include "VelmoraViewController.h"
#include "Window.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QLabel>
#include <QLineF>
#include <QMouseEvent>
#include <QWindow>
#include <cstdio>

using namespace Velmora::Platform;

namespace {

// The bot looks and moves as often as the balls do.
constexpr int kStepMs = 50;
constexpr int kMenuEveryRounds = 4;
// A plus pick-up is worth the trip only with no ball this close to it.
constexpr double kSafePickupDistance = 90;
const QRectF kField(0, 0, 320, 480);

}  // namespace

Autoplay::Autoplay(Window *window, ViewController *root, int rounds, double roundLimitSeconds)
    : window_(window)
    , root_(root)
    , rounds_(rounds)
    , roundLimitSeconds_(roundLimitSeconds)
{
    stepTimer_.setInterval(kStepMs);
    connect(&stepTimer_, &QTimer::timeout, this, &Autoplay::step);
}

Autoplay::~Autoplay() = default;

void Autoplay::start()
{
    if (rounds_ <= 0) {
        QTimer::singleShot(0, this, &Autoplay::finished);
        return;
    }
    stepTimer_.start();
}

void Autoplay::step()
{
    if (round_ && round_->modalViewController() && !roundSeconds_)
        roundSeconds_ = double(roundClock_.elapsed()) / 1000;
    ViewController *top = topScreen();
    if (auto *round = qobject_cast<Touch *>(top))
        play(round);
    else if (auto *over = qobject_cast<Over *>(top))
        leave(over);
    else if (qobject_cast<VelmoraViewController *>(top))
        tap("play", top);
}

// The screen on top of the stack, or null while any screen is still moving in or out.
ViewController *Autoplay::topScreen() const
{
    if (!root_)
        return nullptr;
    ScreenStack *stack = ScreenStack::of(root_);
    if (!stack)
        return root_;
    return stack->hasTransition() ? nullptr : stack->top();
}

void Autoplay::play(Touch *round)
{
    if (round != round_) {
        round_ = round;
        pilot_ = std::make_unique<Autopilot>(round);
        roundSeconds_.reset();
        tap("starting", round);
        roundClock_.start();
        tickClock_.watch(round);
        return;
    }
    drag(round, target(round));
}

QPointF Autoplay::target(Touch *round) const
{
    if (roundClock_.elapsed() >= roundLimitSeconds_ * 1000)
        return pilot_->collisionSpot();
    const std::optional<QPointF> pickup = pilot_->pickupSpot();
    if (pickup && kField.contains(*pickup)) {
        bool safe = true;
        for (const Ball &ball : std::as_const(*round).balls())
            safe = safe && QLineF(*pickup, ball.center() + ball.pos()).length() > kSafePickupDistance;
        if (safe)
            return *pickup;
    }
    return Autopilot::safestSpot(std::as_const(*round).balls());
}

void Autoplay::leave(Over *over)
{
    if (over == reported_)
        return;
    if (pressed_) {
        sendMouse(QEvent::MouseButtonRelease, lastLocation_, Qt::LeftButton, Qt::NoButton);
        pressed_ = false;
    }
    reported_ = over;
    ++roundsPlayed_;
    const QLabel *score = over->view()->findChild<QLabel *>(QStringLiteral("lab"));
    std::printf("round %d: score %s, %.1f s\n", roundsPlayed_, qPrintable(score->text()),
                roundSeconds_.value_or(double(roundClock_.elapsed()) / 1000));
    std::fflush(stdout);
    reportTickPeriods();
    if (roundsPlayed_ >= rounds_) {
        stepTimer_.stop();
        emit finished();
        return;
    }
    tap(roundsPlayed_ % kMenuEveryRounds == 0 ? "menuButton" : "retryButton", over);
}

void Autoplay::reportTickPeriods()
{
    QByteArray line = QByteArray("round ") + QByteArray::number(roundsPlayed_) + " tick periods (ms):";
    for (const double period : tickClock_.takePeriods())
        line += ' ' + QByteArray::number(period, 'f', 1);
    std::fprintf(stderr, "%s\n", line.constData());
}

void Autoplay::tap(const char *buttonName, ViewController *screen)
{
    const auto *button = screen->view()->findChild<QAbstractButton *>(QLatin1String(buttonName));
    if (!button || !button->isVisible())
        return;
    const QPointF at = button->mapTo(window_, QPointF(button->rect().center()));
    sendMouse(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton);
    sendMouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton);
}

// The first location of a round presses the finger down, later ones drag it.
void Autoplay::drag(ViewController *screen, QPointF location)
{
    lastLocation_ = screen->view()->mapTo(window_, location);
    if (pressed_) {
        sendMouse(QEvent::MouseMove, lastLocation_, Qt::NoButton, Qt::LeftButton);
        return;
    }
    sendMouse(QEvent::MouseButtonPress, lastLocation_, Qt::LeftButton, Qt::LeftButton);
    pressed_ = true;
}

void Autoplay::sendMouse(int type, QPointF windowLocation, int button, int buttons)
{
    QMouseEvent event(QEvent::Type(type), windowLocation, windowLocation, window_->mapToGlobal(windowLocation),
                      Qt::MouseButton(button), Qt::MouseButtons(buttons), Qt::NoModifier);
    QCoreApplication::sendEvent(window_->windowHandle(), &event);
}
