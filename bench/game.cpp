// The game as a player meets it, measured from inside. Two modes:
//
//   game --startup [--bare | --banner]
//     Starts the real game (or, with --bare, a plain widget window of the
//     same size) and prints the wall-clock time in microseconds since the
//     epoch at which the first screen has been painted (with --banner: at
//     which the menu's banner shows its ad), then quits. The caller
//     subtracts its own start time: bench/game.sh.
//
//   game --jitter 0,10,50,100 [--seconds 60]
//     Stacks that many autoplayed rounds under a running round and reports
//     the period of the top round's motion timer (50 ms wanted): p50, p99
//     and max over the given time, for each stack height in turn.
//
// The rounds print their tick counter to standard output as usual; the
// report goes to standard error.

#include "Application.h"
#include "Autopilot.h"
#include "Autoplay.h"
#include "Over.h"
#include "TickClock.h"
#include "Touch.h"
#include <VelmoraAds/TSKBannerView.h>
#include "VelmoraAppDelegate.h"
#include "VelmoraViewController.h"
#include "WebView.h"
#include "Window.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

using namespace Velmora::Platform;

namespace {

constexpr double kStackingRoundLimitSeconds = 0.1;

// Prints the time of the first event that `seen` picks and quits.
class FirstSight : public QObject
{
public:
    explicit FirstSight(std::function<bool(QObject *, QEvent *)> seen) : seen_(std::move(seen)) {}

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!done_ && seen_(watched, event)) {
            done_ = true;
            QTimer::singleShot(0, qApp, [] {
                const auto now = std::chrono::system_clock::now().time_since_epoch();
                std::fprintf(stderr, "%lld\n",
                             (long long)std::chrono::duration_cast<std::chrono::microseconds>(now).count());
                QCoreApplication::exit(0);
            });
        }
        return false;
    }

private:
    std::function<bool(QObject *, QEvent *)> seen_;
    bool done_ = false;
};

bool isFirstPaint(QObject *watched, QEvent *event)
{
    return event->type() == QEvent::Paint && watched->isWidgetType();
}

// A banner's web view is shown once its ad has rendered.
bool isBannerShown(QObject *watched, QEvent *event)
{
    auto *view = qobject_cast<WebView *>(watched);
    return event->type() == QEvent::Show && view && view->isVisible();
}

// As the game's main does: without them the banners never load.
void registerAdSchemes()
{
    TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")});
}

int startup(int argc, char **argv, bool bare, bool banner)
{
    if (bare) {
        QApplication app(argc, argv);
        FirstSight firstPaint(isFirstPaint);
        app.installEventFilter(&firstPaint);
        QWidget window;
        window.setFixedSize(Window::kWidth, Window::kHeight);
        window.show();
        return app.exec();
    }
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("velmora.example"));
    registerAdSchemes();
    static FirstSight firstSight(banner ? isBannerShown : isFirstPaint);
    return Application::main(argc, argv, [] {
        qApp->installEventFilter(&firstSight);
        return std::make_unique<VelmoraAppDelegate>();
    });
}

class RoundStack
{
public:
    explicit RoundStack(VelmoraAppDelegate &delegate) : delegate_(delegate) {}

    // Plays rounds until `stacked` lie under a new, started top round.
    Touch *openRoundAbove(int stacked)
    {
        ViewController *top = topScreen();
        const int toPlay = stacked - roundsInStack() + (qobject_cast<Touch *>(top) ? 1 : 0);
        if (toPlay > 0) {
            Autoplay autoplay(delegate_.window(), delegate_.viewController(), toPlay, kStackingRoundLimitSeconds);
            QEventLoop loop;
            QObject::connect(&autoplay, &Autoplay::finished, &loop, &QEventLoop::quit);
            autoplay.start();
            loop.exec();
            top = topScreen();
        }
        if (auto *over = qobject_cast<Over *>(top))
            over->retry();
        else if (auto *menu = qobject_cast<VelmoraViewController *>(top))
            menu->menu();
        top->finishTransition();
        auto *round = qobject_cast<Touch *>(topScreen());
        Autopilot(round).startRound();
        return round;
    }

private:
    ViewController *topScreen() const
    {
        ViewController *screen = delegate_.viewController();
        while (screen->modalViewController())
            screen = screen->modalViewController();
        return screen;
    }

    int roundsInStack() const
    {
        int rounds = 0;
        for (ViewController *s = delegate_.viewController(); s; s = s->modalViewController())
            rounds += qobject_cast<Touch *>(s) ? 1 : 0;
        return rounds;
    }

    VelmoraAppDelegate &delegate_;
};

void reportPeriods(int stacked, std::vector<double> periods)
{
    if (periods.empty())
        return;
    std::sort(periods.begin(), periods.end());
    auto at = [&](double q) { return periods[std::min(periods.size() - 1, size_t(q * double(periods.size())))]; };
    std::fprintf(stderr, "stacked %3d: tick period p50 %.1f ms, p99 %.1f ms, max %.1f ms (%zu ticks)\n", stacked,
                 at(0.5), at(0.99), periods.back(), periods.size());
}

int jitter(int argc, char **argv, const QList<int> &stackHeights, int seconds)
{
    registerAdSchemes();
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    VelmoraAppDelegate delegate;
    delegate.applicationDidFinishLaunchingWithOptions(Application::shared(), {});
    RoundStack stack(delegate);
    for (int stacked : stackHeights) {
        Touch *round = stack.openRoundAbove(stacked);
        Autopilot pilot(round);
        QTimer steering;
        QObject::connect(&steering, &QTimer::timeout, [&pilot] { pilot.steer(); });
        steering.start(50);
        TickClock clock;
        clock.watch(round);
        QEventLoop wait;
        QTimer::singleShot(seconds * 1000, &wait, &QEventLoop::quit);
        wait.exec();
        reportPeriods(stacked, clock.takePeriods());
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (arguments.contains(QStringLiteral("--startup")))
        return startup(argc, argv, arguments.contains(QStringLiteral("--bare")),
                       arguments.contains(QStringLiteral("--banner")));

    QCommandLineParser parser;
    parser.addOption({QStringLiteral("jitter"), QStringLiteral("Stack heights to measure."), QStringLiteral("LIST")});
    parser.addOption({QStringLiteral("seconds"), QStringLiteral("Time per height."), QStringLiteral("N"), QStringLiteral("60")});
    parser.parse(arguments);
    QList<int> heights;
    for (const QString &height : parser.value(QStringLiteral("jitter")).split(u',', Qt::SkipEmptyParts))
        heights << height.toInt();
    return jitter(argc, argv, heights, qMax(1, parser.value(QStringLiteral("seconds")).toInt()));
}
