// What a banner costs, side by side with the floor of the same engine:
//   time   loadRequest -> didReceiveAd, cold (core script fetched) and warm,
//          against a bare QWebEngineView loading the same ad page URL;
//   memory PSS of this process and all its web engine processes with 1, 10
//          and 50 banners on stacked screens;
//   cpu    the CPU share of this process and its web engine processes over
//          one reload period with 200 banners (a hundred rounds' worth) on
//          covered screens, each loaded in sight on the game's 30 s period
//          and then covered, and the PSS at the end of it;
//   tick   the longest gap of a 50 ms timer (the play screen's clock) while a
//          banner loads and reloads every second.
//   busy   ad requests and ads shown a second before, while and after the
//          banners' renderer is starved, the renderers ended and the banners
//          left silent (REFRESH=30; --banners N, --starve S, --after S).
//   stall  (--stall, alone) how long banners stall that share a renderer with
//          a creative that spins forever; BANNER_FLAGS=--renderer-process-limit=1
//          makes them share one (--process-per-site does not, for pages
//          loaded from strings).
// Usage: banner --host 127.0.0.1:PORT [--rounds N] [--phases time,tick,memory,cpu,busy] [--stall]   (the server runs with --refresh 1)
#include "Application.h"
#include "Network/TSKCachedFile.h"
#include "Object/TSKObjectPrivate.h"
#include <VelmoraAds/TSKRequest.h>
#include "Statistics/TSKStatistics.h"
#include "Statistics/TSKStatisticsCore.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKPrivateUtilities.h"
#include <VelmoraAds/TSKBannerView.h>
#include "ViewController.h"
#include "WebProfile.h"
#include "WebView.h"

#include "ProcessTree.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>
#include <vector>

using namespace Velmora::Platform;
using namespace bench;

namespace {

constexpr double kGameReloadSeconds = 30;

class Arrivals : public QObject
{
    Q_OBJECT
public:
    int received = 0;
    int failed = 0;
    Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *) { ++received; }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(TSKBannerView *, const Error &) { ++failed; }
};

bool spinUntil(const std::function<bool()> &done, int timeoutMs = 30000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// A screen on view, its banner in sight before anything is timed.
struct Screen
{
    Screen()
    {
        controller.view()->resize(320, 480);
        banner = new TSKBannerView(QRectF(0, 430, 320, 50), controller.view());
        banner->setAdUnitID("a1f3c29b07d5e64");
        banner->setRootViewController(&controller);
        banner->setDelegate(&arrivals);
        controller.view()->show();
        spinUntil([this] { return loader()->isSeen(); });
    }
    TSKObjectPrivate *loader() const { return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner); }
    // As the game covers a screen with the next one.
    void cover() { controller.view()->hide(); }
    double load()
    {
        QElapsedTimer clock;
        clock.start();
        const int before = arrivals.received;
        banner->loadRequest(TSKRequest::request().get());
        spinUntil([&] { return arrivals.received > before; });
        return clock.nsecsElapsed() / 1e6;
    }
    ViewController controller;
    TSKBannerView *banner;
    Arrivals arrivals;
};

// In the banners' profile, so it may share their renderer as they do.
double bareLoad(const QUrl &url)
{
    QWebEngineView view;
    view.setPage(new QWebEnginePage(WebProfile::shared(), &view));
    bool done = false;
    QObject::connect(&view, &QWebEngineView::loadFinished, [&] { done = true; });
    QElapsedTimer clock;
    clock.start();
    view.load(url);
    spinUntil([&] { return done; });
    return clock.nsecsElapsed() / 1e6;
}

void measureTimes(int rounds)
{
    std::vector<double> cold, warm, bare;
    for (int i = 0; i < rounds; ++i) {
        TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects();
        Screen first;
        cold.push_back(first.load());
        Screen second;
        warm.push_back(second.load());
        const QUrl page = second.loader()->adHTML()->httpDestinationURL();
        bare.push_back(bareLoad(page));
    }
    std::printf("load to didReceiveAd, median of %d (ms): cold %.1f, warm %.1f; bare web view loading the ad page %.1f; "
                "warm/bare %.2fx\n", rounds, median(cold), median(warm), median(bare), median(warm) / median(bare));
}

void measureMemory()
{
    const ProcessTreeMemory before = memoryOfProcessTree();
    std::vector<std::unique_ptr<Screen>> screens;
    for (const int target : {1, 10, 50}) {
        while (int(screens.size()) < target) {
            screens.push_back(std::make_unique<Screen>());
            screens.back()->load();
            // The game's banners reload on the house server's period, not this run's 1 s.
            screens.back()->loader()->scheduleReloadTimer(kGameReloadSeconds);
        }
        spinUntil([] { return false; }, 1500);
        const ProcessTreeMemory now = memoryOfProcessTree();
        std::printf("PSS with %2d banners: %.1f MB (%.2f MB per banner over the %.1f MB before any); "
                    "this process %.1f MB, %d engine processes %.1f MB\n",
                    target, now.total(), (now.total() - before.total()) / target, before.total(), now.browser,
                    now.processes, now.others);
    }
}

void measureCpu()
{
    constexpr int kBanners = 200;
    // The screen on top, which keeps the program in the foreground.
    QWidget onTop;
    onTop.resize(320, 480);
    onTop.show();
    std::vector<std::unique_ptr<Screen>> screens;
    int arrivals = 0;
    while (int(screens.size()) < kBanners) {
        screens.push_back(std::make_unique<Screen>());
        screens.back()->load();
        screens.back()->loader()->scheduleReloadTimer(kGameReloadSeconds);
        screens.back()->cover();
    }
    for (const auto &screen : screens)
        arrivals -= screen->arrivals.received;
    QElapsedTimer clock;
    clock.start();
    const double cpuSeconds = cpuSecondsOfProcessTreeOver(int(kGameReloadSeconds * 1000));
    const double seconds = clock.nsecsElapsed() / 1e9;
    for (const auto &screen : screens)
        arrivals += screen->arrivals.received;
    const ProcessTreeMemory memory = memoryOfProcessTree();
    std::printf("CPU with %d covered banners over %.0f s: %.1f%% of one core, %d reloads (%.1f ms of CPU each); "
                "PSS then %.1f MB\n",
                kBanners, seconds, 100 * cpuSeconds / seconds, arrivals, arrivals ? 1000 * cpuSeconds / arrivals : 0.0,
                memory.total());
}

void measureTicks()
{
    Screen screen;
    screen.load();
    QElapsedTimer clock;
    clock.start();
    std::vector<double> gaps;
    qint64 last = clock.nsecsElapsed();
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        gaps.push_back((now - last) / 1e6);
        last = now;
    });
    tick.start(50);
    const int before = screen.arrivals.received;
    spinUntil([] { return false; }, 15000);
    std::sort(gaps.begin(), gaps.end());
    std::printf("50 ms tick over 15 s with %d reloads: p50 %.1f ms, p99 %.1f ms, max %.1f ms\n",
                screen.arrivals.received - before, gaps[gaps.size() / 2], gaps[gaps.size() * 99 / 100], gaps.back());
}

// Asks each view's page for a trivial answer every 20 ms and keeps, per view,
// the longest time it went unanswered.
class StallProbe : public QObject
{
public:
    explicit StallProbe(const std::vector<QWebEngineView *> &views) : views_(views), lastAnswer_(views.size(), 0)
    {
        clock_.start();
        connect(&poll_, &QTimer::timeout, this, [this] { ask(); });
        poll_.start(20);
    }
    double now() const { return clock_.nsecsElapsed() / 1e6; }
    // The longest silence of any view since `since`, counting one still going on.
    double longestStallSince(double since) const
    {
        double longest = 0;
        for (const auto &[at, gap] : gaps_) {
            if (at >= since)
                longest = std::max(longest, gap);
        }
        for (const double last : lastAnswer_)
            longest = std::max(longest, now() - std::max(last, since));
        return longest;
    }
    bool allAnsweredSince(double since) const
    {
        return std::all_of(lastAnswer_.begin(), lastAnswer_.end(), [since](double last) { return last > since; });
    }

private:
    void ask()
    {
        for (size_t i = 0; i < views_.size(); ++i) {
            views_[i]->page()->runJavaScript(QStringLiteral("1"), [this, i](const QVariant &) {
                const double at = now();
                gaps_.emplace_back(at, at - lastAnswer_[i]);
                lastAnswer_[i] = at;
            });
        }
    }

    std::vector<QWebEngineView *> views_;
    std::vector<double> lastAnswer_;
    std::vector<std::pair<double, double>> gaps_;
    QElapsedTimer clock_;
    QTimer poll_;
};

// Banners whose pages may share a renderer with a creative that spins forever:
// how long their pages go unanswered, what the loader's render deadline (it
// stops the load) does about it, and what a reload of the spinning banner does.
void measureSharedRendererStall()
{
    std::vector<std::unique_ptr<Screen>> others;
    std::vector<QWebEngineView *> views;
    for (int i = 0; i < 3; ++i) {
        others.push_back(std::make_unique<Screen>());
        others.back()->load();
        // Their own reloads would replace the pages being watched.
        others.back()->loader()->deactivateReloadTimer();
        views.push_back(others.back()->banner->webView());
    }
    const QUrl adPage = others[0]->loader()->adHTML()->httpDestinationURL();
    StallProbe probe(views);
    spinUntil([] { return false; }, 1000);
    const double calm = probe.longestStallSince(0);

    WebView spinner;
    spinner.resize(320, 50);
    spinner.show();
    const double spinStart = probe.now();
    spinner.loadHTMLString(QStringLiteral("<body>ad<script>for (;;) {}</script></body>"), adPage);
    spinUntil([] { return false; }, int(TSKObjectPrivate::kRenderDeadlineSeconds * 1000));
    const double stalledByDeadline = probe.longestStallSince(spinStart);
    const double deadline = probe.now();
    spinner.stopLoading();
    spinUntil([&] { return probe.allAnsweredSince(deadline); }, 5000);
    const bool recoveredByStop = probe.allAnsweredSince(deadline);

    const double reload = probe.now();
    spinner.loadHTMLString(QStringLiteral("<body>next ad</body>"), adPage);
    spinUntil([&] { return probe.allAnsweredSince(reload); }, 15000);
    const bool recoveredByReload = probe.allAnsweredSince(reload);
    const double stalledAfterReload = probe.now() - reload;
    std::printf("shared renderer with a spinning creative (3 banners): calm longest gap %.0f ms; stalled %.0f ms "
                "until the render deadline; stopping the load %s; the spinning banner's reload %s after %.0f ms; "
                "renderer pids: banners %lld %lld %lld, spinner %lld\n",
                calm, stalledByDeadline, recoveredByStop ? "ends the stall" : "does not end it",
                recoveredByReload ? "ends it" : "does not end it", stalledAfterReload,
                static_cast<long long>(views[0]->page()->renderProcessPid()),
                static_cast<long long>(views[1]->page()->renderProcessPid()),
                static_cast<long long>(views[2]->page()->renderProcessPid()),
                static_cast<long long>(spinner.page()->renderProcessPid()));
}

// Counts of one stretch of the busy-renderer run.
struct Stretch
{
    qint64 requests = 0;
    int received = 0;
    int failed = 0;
    double seconds = 0;
};

// Banners reloading every second while their renderer is starved: it runs
// 50 ms of every second (SIGSTOP/SIGCONT, the model of a machine whose
// cores are taken) for `starvedSeconds`. Ad requests and ads shown per
// second before, during and after, the renderers that were ended, and the
// banners left with no load and no reload to come.
void measureBusyRenderer(int bannerCount, int starvedSeconds, int afterSeconds)
{
    std::vector<std::unique_ptr<Screen>> screens;
    for (int i = 0; i < bannerCount; ++i) {
        screens.push_back(std::make_unique<Screen>());
        screens.back()->controller.view()->show();
        screens.back()->load();
    }
    // Reloads spread evenly over the server's period, as a long session's are.
    for (int i = 0; i < bannerCount; ++i)
        TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(screens[i]->banner)
            ->scheduleReloadTimer(1 + i * kGameReloadSeconds / bannerCount);
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    QList<qint64> renderers;
    const auto renderer = [&] {
        const qint64 pid = screens.front()->banner->webView()->page()->renderProcessPid();
        if (pid > 0 && !renderers.contains(pid))
            renderers << pid;
        return pid;
    };
    const auto stretch = [&](int seconds, const std::function<void()> &everySecond) {
        Stretch counts;
        counts.requests = -statistics->adRequestCount();
        for (const auto &screen : screens) {
            counts.received -= screen->arrivals.received;
            counts.failed -= screen->arrivals.failed;
        }
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < seconds; ++i) {
            renderer();
            everySecond();
        }
        counts.seconds = clock.nsecsElapsed() / 1e9;
        counts.requests += statistics->adRequestCount();
        for (const auto &screen : screens) {
            counts.received += screen->arrivals.received;
            counts.failed += screen->arrivals.failed;
        }
        return counts;
    };
    const auto wait = [](int ms) { spinUntil([] { return false; }, ms); };
    const Stretch calm = stretch(15, [&] { wait(1000); });
    const Stretch starved = stretch(starvedSeconds, [&] {
        const qint64 pid = renderer();
        wait(50);
        if (pid > 0)
            ::kill(pid_t(pid), SIGSTOP);
        wait(950);
        if (pid > 0)
            ::kill(pid_t(pid), SIGCONT);
    });
    std::vector<int> before;
    for (const auto &screen : screens)
        before.push_back(screen->arrivals.received);
    const Stretch after = stretch(afterSeconds, [&] { wait(1000); });
    // Banners that showed nothing after the renderer was given its time back.
    int silent = 0;
    for (size_t i = 0; i < screens.size(); ++i)
        silent += screens[i]->arrivals.received == before[i];
    for (const auto &[name, counts] : {std::pair{"calm", calm}, {"starved", starved}, {"after", after}})
        std::printf("busy renderer, %d banners, %s %.0f s: %.1f ad requests/s, %.1f ads shown/s, %d failures\n",
                    bannerCount, name, counts.seconds, counts.requests / counts.seconds,
                    counts.received / counts.seconds, counts.failed);
    std::printf("busy renderer: %lld renderers used (%lld ended); %d of %d banners showed no ad after\n",
                static_cast<long long>(renderers.size()), static_cast<long long>(renderers.size() - 1), silent,
                bannerCount);
}

int optionValue(const QStringList &arguments, const QString &name, int otherwise)
{
    const int index = int(arguments.indexOf(name));
    return index > 0 ? arguments.value(index + 1).toInt() : otherwise;
}

}  // namespace

int main(int argc, char **argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    TSKBannerView::registerSchemes();
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const int hostIndex = int(arguments.indexOf("--host"));
    const QString host = hostIndex > 0 ? arguments.value(hostIndex + 1) : QStringLiteral("127.0.0.1:8470");
    const int roundsIndex = int(arguments.indexOf("--rounds"));
    const int rounds = roundsIndex > 0 ? arguments.value(roundsIndex + 1).toInt() : 10;
    TSKNetworkConfiguration::setStaticContentHost(host);
    TSKNetworkConfiguration::setAdServerHost(host);
    Application::shared()->updateState(Application::Active);
    if (arguments.contains("--stall")) {
        measureSharedRendererStall();
        return 0;
    }
    const int phasesIndex = int(arguments.indexOf("--phases"));
    const QStringList phases = (phasesIndex > 0 ? arguments.value(phasesIndex + 1) : QStringLiteral("time,tick,memory"))
                                   .split(',');
    if (phases.contains("time"))
        measureTimes(rounds);
    if (phases.contains("tick"))
        measureTicks();
    if (phases.contains("memory"))
        measureMemory();
    if (phases.contains("cpu"))
        measureCpu();
    if (phases.contains("busy"))
        measureBusyRenderer(optionValue(arguments, "--banners", 40), optionValue(arguments, "--starve", 30),
                            optionValue(arguments, "--after", 30));
    // Web views let go of inside their own callbacks are deleted later: now.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}

#include "banner.moc"
