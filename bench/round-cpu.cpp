// Plays one round of the real game in real time, the player's ball steered
// away from the moving balls, and reports the CPU time and memory the whole
// process used while the round ran. The tick counter the round prints goes to
// standard output as usual; the report goes to standard error.
//
//   round-cpu [--seconds N] [--eager-pickups]
//
// --eager-pickups draws all three pick-up intervals as 0, so their timers
// fire every millisecond: the round's worst case.

#include "Application.h"
#include "Autopilot.h"
#include "Random.h"
#include "Touch.h"
#include "VelmoraAppDelegate.h"
#include "VelmoraViewController.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

using namespace Velmora::Platform;

namespace {

constexpr int kSteeringIntervalMs = 50;

double cpuSeconds(const rusage &usage)
{
    auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

rusage processUsage()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage;
}

void drawPickupIntervalsAsZero()
{
    // The round's first three draws are the pick-up intervals.
    static int draws = 0;
    Random::setSource([] { return draws++ < 3 ? 0u : ::arc4random(); });
}

Touch *openRound(VelmoraAppDelegate &delegate)
{
    delegate.applicationDidFinishLaunchingWithOptions(Application::shared(), {});
    VelmoraViewController *menu = delegate.viewController();
    menu->menu();
    menu->finishTransition();
    return qobject_cast<Touch *>(menu->modalViewController());
}

}  // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({QStringLiteral("seconds"), QStringLiteral("How long the round runs."), QStringLiteral("N"), QStringLiteral("30")});
    parser.addOption({QStringLiteral("eager-pickups"), QStringLiteral("Draw every pick-up interval as 0.")});
    parser.process(app);
    const int seconds = qMax(1, parser.value(QStringLiteral("seconds")).toInt());
    if (parser.isSet(QStringLiteral("eager-pickups")))
        drawPickupIntervalsAsZero();

    VelmoraAppDelegate delegate;
    Touch *round = openRound(delegate);
    Autopilot pilot(round);
    pilot.startRound();
    QTimer steering;
    QObject::connect(&steering, &QTimer::timeout, [&pilot] { pilot.steer(); });
    steering.start(kSteeringIntervalMs);

    const rusage before = processUsage();
    QElapsedTimer wall;
    wall.start();
    QTimer::singleShot(seconds * 1000, &app, [&] {
        const rusage after = processUsage();
        const double cpu = cpuSeconds(after) - cpuSeconds(before);
        const double elapsed = double(wall.elapsed()) / 1000;
        std::fprintf(stderr, "round ran %.1f s with %lld moving balls%s\n", elapsed,
                     qlonglong(round->balls().size()), round->modalViewController() ? " (and ended)" : "");
        std::fprintf(stderr, "CPU: %.2f s = %.1f%% of one core; peak RSS: %ld kB\n", cpu,
                     100 * cpu / elapsed, after.ru_maxrss);
        app.quit();
    });
    return app.exec();
}
