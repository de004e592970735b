#include "AdServerProcess.h"
#include "Application.h"
#include "EventLoopWait.h"
#include "NotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include <VelmoraAds/TSKRequest.h>
#include "Statistics/TSKStatistics.h"
#include "Statistics/TSKStatisticsCore.h"
#include "Timer.h"
#include "TestMain.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKPrivateUtilities.h"
#include <VelmoraAds/TSKBannerView.h>
#include <VelmoraAds/TSKWebViewNotification.h>
#include "ViewController.h"
#include "View/TSKVisibilityTracker.h"
#include "WebView.h"
#include "Window.h"

#include <QJsonObject>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTabWidget>

#include <algorithm>

using namespace Velmora::Platform;

using testsupport::AdServerProcess;
using testsupport::spin;
using testsupport::waitUntil;

namespace {

class Recorder : public QObject
{
    Q_OBJECT
public:
    int received = 0;
    std::function<void()> onReceive;
    Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *)
    {
        ++received;
        if (onReceive)
            std::exchange(onReceive, nullptr)();
    }
};

// A shown banner under `parent` (none: at the top of a 320 by 480 window of
// its own, on screen), pointed at the server; nothing loaded yet.
struct Sighting
{
    Sighting(const AdServerProcess &server, QWidget *parent = nullptr, const QRectF &frame = QRectF(0, 0, 320, 50))
        : server(server), banner(new TSKBannerView(frame, parent ? parent : &window))
    {
        if (!parent) {
            window.resize(320, 480);
            window.show();
        }
        TSKNetworkConfiguration::setStaticContentHost(server.host());
        TSKNetworkConfiguration::setAdServerHost(server.host());
        banner->setAdUnitID(QStringLiteral("a1f3c29b07d5e64"));
        banner->setRootViewController(&presenter);
        banner->setDelegate(&recorder);
        banner->show();
    }
    TSKObjectPrivate *loader() const { return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner); }
    void load() { banner->loadRequest(TSKRequest::request().get()); }
    bool received(int count) { return waitUntil([&] { return recorder.received >= count; }); }
    bool seen(bool seen) { return waitUntil([&] { return loader()->isSeen() == seen; }); }
    qsizetype adRequests() const { return server.requestsTo(QStringLiteral("/ad")).size(); }
    qsizetype impressions() const { return server.requestsTo(QStringLiteral("/track/impression")).size(); }

    const AdServerProcess &server;
    ViewController presenter;
    QWidget window;
    TSKBannerView *banner;
    Recorder recorder;
};

}  // namespace

class TestSeen : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Application::shared()->updateState(Application::Active);
        TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects();
    }

    // Any widget tree: pages, clipping, minimising, reparenting, and one
    // verdict per turn of the event loop however many events arrive.
    void seenFollowsTheWidgetTree()
    {
        QWidget window;
        window.resize(320, 480);
        auto *pages = new QStackedWidget(&window);
        pages->setGeometry(window.rect());
        pages->addWidget(new QWidget);
        auto *page = new QWidget;
        pages->addWidget(page);
        auto *ad = new QWidget(page);
        ad->setGeometry(0, 430, 320, 50);
        TSKVisibilityTracker tracker(ad);
        QSignalSpy changes(&tracker, &TSKVisibilityTracker::seenChanged);
        const auto settled = [&](bool seen) { return waitUntil([&] { return tracker.isSeen() == seen; }, 5000); };

        window.show();
        spin(50);
        QVERIFY(!tracker.isSeen());  // on the page underneath
        pages->setCurrentIndex(1);
        QVERIFY(settled(true));
        ad->move(0, 480 - 20);  // 40 % left inside the page
        QVERIFY(settled(false));
        ad->move(0, 480 - 30);  // 60 %
        QVERIFY(settled(true));
        window.showMinimized();
        QVERIFY(settled(false));
        window.showNormal();
        QVERIFY(settled(true));
        QWidget elsewhere;
        ad->setParent(&elsewhere);
        ad->show();
        QVERIFY(settled(false));
        ad->setParent(page);
        ad->show();
        QVERIFY(settled(true));

        changes.clear();
        for (int i = 0; i < 21; ++i)
            ad->move(0, i % 2 ? 0 : 600);
        QVERIFY(settled(false));
        spin(50);
        QCOMPARE(changes.size(), 1);
    }

    // Covered as its first ad arrives, a banner on a 1 s period sends nothing
    // and pings nothing; uncovered, it shows what it fetched, counts the
    // impression and reloads on a full period.
    void coveredBannerWaitsUntilUncovered()
    {
        AdServerProcess server({"--refresh", "1"});
        Window window;
        ViewController screen;
        window.addSubview(screen.view());
        window.makeKeyAndVisible();
        Sighting sighting(server, screen.view(), QRectF(0, 430, 320, 50));
        sighting.recorder.onReceive = [&] { screen.presentModalViewController(new ViewController, false); };
        sighting.load();
        QVERIFY(sighting.received(1));
        QVERIFY(sighting.seen(false));
        QVERIFY(!sighting.loader()->reloadTimer());
        spin(1500);  // a reload sent as the page arrived may still be fetching
        const qsizetype requests = sighting.adRequests();
        spin(3000);
        QCOMPARE(sighting.adRequests(), requests);
        QCOMPARE(sighting.impressions(), 0);
        QCOMPARE(sighting.recorder.received, 1);

        screen.dismissModalViewControllerAnimated(false);
        QVERIFY(waitUntil([&] { return sighting.loader()->reloadTimer(); }));
        QCOMPARE(sighting.loader()->reloadTimer()->timeInterval(), 1.0);
        QVERIFY(waitUntil([&] { return sighting.impressions() >= 1 && sighting.adRequests() > requests; }));
    }

    // A hidden tab's banner loads once its tab shows; a banner scrolled out
    // of its scroll area stops reloading until scrolled back.
    void bannersOutOfViewWait()
    {
        AdServerProcess server({"--refresh", "2"});
        QTabWidget tabs;
        tabs.addTab(new QWidget, QStringLiteral("Scores"));
        auto *area = new QScrollArea;
        tabs.addTab(area, QStringLiteral("Play"));
        auto *content = new QWidget;
        content->resize(320, 1000);
        area->setWidget(content);
        Sighting sighting(server, content);
        tabs.resize(340, 300);
        tabs.show();
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        const qint64 counted = statistics->adRequestCount();
        sighting.load();
        spin(1500);
        QCOMPARE(sighting.adRequests(), 0);
        QCOMPARE(statistics->adRequestCount(), counted);

        tabs.setCurrentIndex(1);
        QVERIFY(sighting.received(1));
        QCOMPARE(statistics->adRequestCount(), counted + 1);
        QVERIFY(sighting.received(2));

        area->verticalScrollBar()->setValue(area->verticalScrollBar()->maximum());
        QVERIFY(sighting.seen(false));
        spin(1500);
        const qsizetype requests = sighting.adRequests();
        spin(2500);
        QCOMPARE(sighting.adRequests(), requests);
        area->verticalScrollBar()->setValue(0);
        QVERIFY(waitUntil([&] { return sighting.adRequests() > requests; }));
    }

    // The impression counts after one second in sight without a break.
    void impressionNeedsASecondInSight()
    {
        AdServerProcess server({"--refresh", "0"});
        Sighting sighting(server);
        QWidget &window = sighting.window;
        sighting.recorder.onReceive = [&] { window.hide(); };
        sighting.load();
        QVERIFY(sighting.received(1));
        QVERIFY(sighting.seen(false));
        spin(1500);
        QCOMPARE(sighting.impressions(), 0);

        window.show();  // a glance, shorter than the second
        QVERIFY(waitUntil([&] { return sighting.loader()->viewabilityTimer(); }));
        QCOMPARE(sighting.loader()->viewabilityTimer()->timeInterval(), 1.0);
        window.hide();
        QVERIFY(waitUntil([&] { return !sighting.loader()->viewabilityTimer(); }));
        spin(1200);
        QCOMPARE(sighting.impressions(), 0);

        window.show();
        QVERIFY(waitUntil([&] { return sighting.impressions() == 1; }));
        window.hide();
        window.show();
        spin(1500);
        QCOMPARE(sighting.impressions(), 1);
    }

    // At the 1 s refresh floor the next ad is on its way before the shown one
    // has had its second in sight; the shown one still counts, once, since
    // it stays on view until the next one has rendered.
    void adSeenForASecondCountsOnceWhateverComesNext()
    {
        AdServerProcess server({"--refresh", "1", "--fault", "slow:1000"});
        Sighting sighting(server);
        sighting.load();
        QVERIFY(sighting.received(1));
        QPointer<Timer> second = sighting.loader()->viewabilityTimer();
        if (Timer *reload = sighting.loader()->reloadTimer())
            reload->fire();
        QVERIFY(waitUntil([&] { return sighting.loader()->state() == TSKObjectPrivate::FetchingAdPage; }));
        if (second)
            second->fire();
        const auto impressionsOf = [&](const QString &rid) {
            return std::ranges::count_if(server.requestsTo("/track/impression"), [&](const QJsonObject &ping) {
                return ping["query"].toObject()["rid"].toString() == rid;
            });
        };
        const auto shownRid = [&](int ad) {
            QList<QJsonObject> pages = server.requests();
            pages.removeIf([](const QJsonObject &r) { return !r["path"].toString().startsWith("/page/"); });
            return pages.size() > ad ? pages[ad]["query"].toObject()["rid"].toString() : QString();
        };
        QVERIFY(waitUntil([&] { return impressionsOf(shownRid(0)) == 1; }));

        QVERIFY(sighting.received(3));
        QVERIFY(waitUntil([&] { return impressionsOf(shownRid(1)) == 1; }));
        QCOMPARE(impressionsOf(shownRid(0)), 1);
    }

    // Out of sight long enough, a banner gives its pages back, a click
    // already sent still arrives, and in sight again it asks for a new ad.
    void dormantBannerGivesPagesBackAndLoadsAnew()
    {
        AdServerProcess server;
        Sighting sighting(server);
        QWidget &window = sighting.window;
        sighting.load();
        QVERIFY(sighting.received(1));
        QPointer<WebView> page = sighting.banner->webView();
        bool clicked = false;
        QObject observer;
        NotificationCenter::defaultCenter()->addObserver(&observer, TSKWebViewNotification::DidReceiveWebAction, page,
                                                         [&](const Notification &) { clicked = true; });
        const QString tap = QUrl::toPercentEncoding("http://" + server.host() + "/track/tap?unit=u&creative=c&rid=1");
        page->evaluateJavaScript("location.href = 'tsmsg:///httpTrack?u=" + tap + "';");
        QVERIFY(waitUntil([&] { return clicked; }));
        window.hide();
        QVERIFY(waitUntil([&] { return sighting.loader()->dormancyTimer(); }));
        QCOMPARE(sighting.loader()->dormancyTimer()->timeInterval(), TSKObjectPrivate::kDormantAfterSeconds);
        sighting.loader()->dormancyTimer()->fire();
        QVERIFY(!sighting.banner->webView() && !sighting.loader()->adHTML());
        QVERIFY(waitUntil([&] { return !page && !server.requestsTo("/track/tap").isEmpty(); }));
        sighting.banner->resize(300, 50);

        window.show();
        QVERIFY(sighting.received(2));
        QVERIFY(sighting.banner->webView()->isVisibleTo(sighting.banner));
        QCOMPARE(sighting.banner->webView()->size(), QSize(300, 50));
        spin(300);
        const QList<QJsonObject> ads = server.requestsTo("/ad");
        QCOMPARE(ads.size(), 2);
        const auto preqs = [](const QJsonObject &ad) { return ad["query"].toObject()["preqs"].toString().toInt(); };
        QCOMPARE(preqs(ads[1]), preqs(ads[0]) + 1);

        // Released while dormant with a load waiting for sight.
        window.hide();
        QVERIFY(waitUntil([&] { return sighting.loader()->dormancyTimer(); }));
        sighting.loader()->dormancyTimer()->fire();
        sighting.load();
        delete sighting.banner;
        spin(200);
    }
};

VELMORA_TEST_MAIN_WITH(TestSeen, [] { TSKBannerView::registerSchemes(); })
#include "tst_seen.moc"
