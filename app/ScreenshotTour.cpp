#include "View/TSKBannerView.h"
#include "WebView.h"
#include "ScreenshotTour.h"

#include "About.h"
#include "Autopilot.h"
#include "Ball.h"
#include "Instructions.h"
#include "Random.h"
#include "Touch.h"
#include "VelmoraViewController.h"
#include "ViewGeometry.h"
#include "Window.h"

#include <QDeadlineTimer>
#include <QCoreApplication>
#include <QDir>
#include <QTimer>

namespace {

constexpr int kTicksPerSecond = 20;
constexpr int kSecondsPlayed = 21;
constexpr int kBannerWaitMs = 5000;
constexpr int kBannerPaintMs = 400;

// Fixed seed: the same balls and pick-ups on every run.
uint32_t nextRandom()
{
    static uint32_t state = 0x5eed1234;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

void playRound(Touch *round)
{
    Autopilot pilot(round);
    pilot.startRound();
    for (int tick = 1; tick <= kSecondsPlayed * kTicksPerSecond; ++tick) {
        pilot.steer();
        round->onTimer();
        if (tick % kTicksPerSecond == 0) {
            round->tick();
            round->randomMainVoid();
        }
    }
    round->showPlus();
    round->showMinus();
    round->showBall();
}

void endRound(Touch *round)
{
    QWidget *player = round->view()->findChild<QWidget *>(QStringLiteral("one"));
    Ball *ball = round->balls().constFirst();
    ViewGeometry::setCenter(ball, ViewGeometry::center(player));
    round->onTimer();
}

}  // namespace

ScreenshotTour::ScreenshotTour(Window *window, VelmoraViewController *menu, QString directory)
    : window_(window)
    , menu_(menu)
    , directory_(std::move(directory))
{
}

QString ScreenshotTour::directoryOption(const QStringList &arguments)
{
    for (int i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--screenshot") && i + 1 < arguments.size())
            return arguments[i + 1];
        if (arguments[i].startsWith(QLatin1String("--screenshot=")))
            return arguments[i].section(u'=', 1);
    }
    return {};
}

void ScreenshotTour::start()
{
    QTimer::singleShot(0, this, &ScreenshotTour::run);
}

void ScreenshotTour::run()
{
    Random::setSource(nextRandom);
    bool saved = QDir().mkpath(directory_) && save(QStringLiteral("menu"));

    menu_->instructions();
    menu_->finishTransition();
    saved = save(QStringLiteral("instructions")) && saved;
    qobject_cast<Instructions *>(menu_->modalViewController())->back();
    menu_->finishTransition();

    menu_->about();
    menu_->finishTransition();
    saved = save(QStringLiteral("about")) && saved;
    qobject_cast<About *>(menu_->modalViewController())->back();
    menu_->finishTransition();

    menu_->menu();
    menu_->finishTransition();
    auto *round = qobject_cast<Touch *>(menu_->modalViewController());
    saved = save(QStringLiteral("start")) && saved;
    playRound(round);
    saved = save(QStringLiteral("play")) && saved;
    endRound(round);
    round->finishTransition();
    saved = save(QStringLiteral("game-over")) && saved;

    QCoreApplication::exit(saved ? 0 : 1);
}

// A screen is pictured with its live ad, as a player sees it: wait until the
// ads on view have arrived and been painted (or the ad server is clearly away).
void ScreenshotTour::waitForBanners()
{
    const auto arrived = [this] {
        for (const TSKBannerView *banner : window_->findChildren<TSKBannerView *>()) {
            if (banner->isVisibleTo(window_) && !banner->webView()->isVisibleTo(window_))
                return false;
        }
        return true;
    };
    QDeadlineTimer deadline(kBannerWaitMs);
    while (!arrived() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QDeadlineTimer painted(kBannerPaintMs);
    while (!painted.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

bool ScreenshotTour::save(const QString &name)
{
    waitForBanners();
    const QString path = QDir(directory_).filePath(name + QStringLiteral(".png"));
    if (window_->grabScreen().save(path))
        return true;
    qWarning("velmora: cannot write %s", qPrintable(path));
    return false;
}
