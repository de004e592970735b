// A Qt Quick banner beside a Widgets banner, the same ads from the same
// server, one surface per run of this program (bench/quick-banner.sh runs
// both):
//   first  load -> ad shown for a first banner (core script fetched) and the
//          median of ROUNDS more (warm);
//   pss    PSS of this process and its web engine processes per banner, with
//          BANNERS banners in sight, above the same program with none;
//   seen   CPU share of the tree over WINDOW seconds with them in sight;
//   dormant the same once their window has been hidden past the dormancy.
// Usage: quick-banner --surface widgets|quick [--banners N] [--rounds N] [--window S]
#include "ProcessTree.h"

#include <VelmoraAds/BannerAd.h>
#include <VelmoraAds/BannerWidget.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

using namespace bench;
using Velmora::Ads::BannerAd;
using Velmora::Ads::BannerWidget;

namespace {

bool spinUntil(const std::function<bool()> &done, int timeoutMs = 60000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

void waitMs(int milliseconds)
{
    QEventLoop wait;
    QTimer::singleShot(milliseconds, &wait, &QEventLoop::quit);
    wait.exec();
}

// A window of banners, stacked, each 320 by 50 and in sight.
class Surface
{
public:
    virtual ~Surface() = default;
    virtual void add(int count) = 0;
    virtual void clear() = 0;
    virtual void setShown(bool shown) = 0;
    int received = 0;
};

class WidgetSurface : public Surface
{
public:
    WidgetSurface()
    {
        layout_ = new QVBoxLayout(&window_);
        layout_->setContentsMargins(0, 0, 0, 0);
        layout_->setSpacing(0);
        layout_->addStretch();
        window_.resize(320, 480);
        window_.show();
    }
    void add(int count) override
    {
        for (int i = 0; i < count; ++i) {
            auto *banner = new BannerWidget;
            banner->setAdUnitId(QStringLiteral("a1f3c29b07d5e64"));
            QObject::connect(banner, &BannerWidget::adReceived, [this] { ++received; });
            layout_->insertWidget(layout_->count() - 1, banner);
            banner->load();
        }
        window_.resize(320, std::max(480, 50 * (layout_->count() - 1)));
    }
    void clear() override
    {
        while (layout_->count() > 1)
            delete layout_->takeAt(0)->widget();
    }
    void setShown(bool shown) override { window_.setVisible(shown); }

private:
    QWidget window_;
    QVBoxLayout *layout_;
};

class QuickSurface : public Surface
{
public:
    QuickSurface()
    {
        component_.setData("import Velmora.Ads\nBannerAd { width: 320; adUnitId: 'a1f3c29b07d5e64' }", QUrl());
        window_.resize(320, 480);
        window_.show();
    }
    void add(int count) override
    {
        for (int i = 0; i < count; ++i) {
            auto *banner = qobject_cast<BannerAd *>(component_.create());
            banner->setY(50 * banners_.size());
            banner->setParentItem(window_.contentItem());
            QObject::connect(banner, &BannerAd::adReceived, [this] { ++received; });
            banner->load();
            banners_.emplace_back(banner);
        }
        window_.resize(320, std::max(480, 50 * int(banners_.size())));
    }
    void clear() override { banners_.clear(); }
    void setShown(bool shown) override { window_.setVisible(shown); }

private:
    QQmlEngine engine_;
    QQmlComponent component_{&engine_};
    QQuickWindow window_;
    std::vector<std::unique_ptr<BannerAd>> banners_;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

QString option(const QStringList &arguments, const QString &name, const QString &fallback)
{
    const qsizetype at = arguments.indexOf(name);
    return at >= 0 && at + 1 < arguments.size() ? arguments[at + 1] : fallback;
}

}  // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const QString kind = option(arguments, QStringLiteral("--surface"), QStringLiteral("widgets"));
    const int banners = option(arguments, QStringLiteral("--banners"), QStringLiteral("8")).toInt();
    const int rounds = option(arguments, QStringLiteral("--rounds"), QStringLiteral("5")).toInt();
    const int window = option(arguments, QStringLiteral("--window"), QStringLiteral("10")).toInt();
    std::unique_ptr<Surface> surface;
    if (kind == QLatin1String("quick"))
        surface = std::make_unique<QuickSurface>();
    else
        surface = std::make_unique<WidgetSurface>();
    waitMs(1000);
    const double empty = memoryOfProcessTree().total();

    std::vector<double> times;
    for (int round = 0; round <= rounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        surface->add(1);
        if (!spinUntil([&] { return surface->received == 1; }))
            return 1;
        times.push_back(clock.nsecsElapsed() / 1e6);
        surface->clear();
        surface->received = 0;
    }
    const double first = times.front();
    times.erase(times.begin());

    surface->add(banners);
    if (!spinUntil([&] { return surface->received >= banners; }))
        return 1;
    waitMs(2000);
    const double pss = (memoryOfProcessTree().total() - empty) / banners;
    const double seen = 100 * cpuSecondsOfProcessTreeOver(window * 1000) / window;
    surface->setShown(false);
    waitMs(11000);
    const double dormant = 100 * cpuSecondsOfProcessTreeOver(window * 1000) / window;
    std::printf("%s first_ms %.0f warm_ms %.0f pss_mb_per_banner %.1f cpu_seen_pct %.2f cpu_dormant_pct %.2f\n",
                qPrintable(kind), first, median(times), pss, seen, dormant);
    surface.reset();
    return 0;
}
