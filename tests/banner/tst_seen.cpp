#include "AdServerProcess.h"
#include "Application.h"
#include "BannerStage.h"
#include "EventLoopWait.h"
#include "NotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "Statistics/TSKStatisticsCore.h"
#include "Timer.h"
#include "TestMain.h"
#include <VelmoraAds/TSKBannerView.h>
#include <VelmoraAds/TSKWebViewNotification.h>
#include "View/TSKVisibilityTracker.h"
#include "WebView.h"

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

    // A hidden tab's banner loads once its tab shows; a banner scrolled out
    // of its scroll area stops reloading until scrolled back. (Covered by
    // another screen it is hidden, as on a hidden tab.)
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
        BannerStage stage(server, content, QRectF(0, 0, 320, 50));
        tabs.resize(340, 300);
        tabs.show();
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        const qint64 counted = statistics->adRequestCount();
        stage.load();
        spin(1500);
        QCOMPARE(stage.adRequests(), 0);
        QCOMPARE(statistics->adRequestCount(), counted);

        tabs.setCurrentIndex(1);
        QVERIFY(stage.waitForEvents(1));
        QCOMPARE(statistics->adRequestCount(), counted + 1);
        QVERIFY(stage.waitForEvents(2));

        area->verticalScrollBar()->setValue(area->verticalScrollBar()->maximum());
        QVERIFY(stage.waitForSeen(false));
        spin(1500);
        const qsizetype requests = stage.adRequests();
        spin(2500);
        QCOMPARE(stage.adRequests(), requests);
        area->verticalScrollBar()->setValue(0);
        QVERIFY(waitUntil([&] { return stage.adRequests() > requests; }));
    }

    // The impression counts after one second in sight without a break.
    void impressionNeedsASecondInSight()
    {
        AdServerProcess server({"--refresh", "0"});
        BannerStage stage(server);
        QWidget &window = *stage.screen.view();
        stage.onReceive = [&] { window.hide(); };
        stage.load();
        QVERIFY(stage.waitForEvents(1));
        QVERIFY(stage.waitForSeen(false));
        spin(1500);
        QCOMPARE(stage.impressions(), 0);

        window.show();  // a glance, shorter than the second
        QVERIFY(waitUntil([&] { return stage.loader()->viewabilityTimer(); }));
        QCOMPARE(stage.loader()->viewabilityTimer()->timeInterval(), 1.0);
        window.hide();
        QVERIFY(waitUntil([&] { return !stage.loader()->viewabilityTimer(); }));
        spin(1200);
        QCOMPARE(stage.impressions(), 0);

        window.show();
        QVERIFY(waitUntil([&] { return stage.impressions() == 1; }));
        window.hide();
        window.show();
        spin(1500);
        QCOMPARE(stage.impressions(), 1);
    }

    // At the 1 s refresh floor the next ad is on its way before the shown one
    // has had its second in sight; the shown one still counts, once, since
    // it stays on view until the next one has rendered.
    void adSeenForASecondCountsOnceWhateverComesNext()
    {
        AdServerProcess server({"--refresh", "1", "--fault", "slow:1000"});
        BannerStage stage(server);
        stage.load();
        QVERIFY(stage.waitForEvents(1));
        QPointer<Timer> second = stage.loader()->viewabilityTimer();
        if (Timer *reload = stage.loader()->reloadTimer())
            reload->fire();
        QVERIFY(waitUntil([&] { return stage.loader()->state() == TSKObjectPrivate::FetchingAdPage; }));
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

        QVERIFY(stage.waitForEvents(3));
        QVERIFY(waitUntil([&] { return impressionsOf(shownRid(1)) == 1; }));
        QCOMPARE(impressionsOf(shownRid(0)), 1);

        // Released, it sends nothing more and its page goes. A reload may have
        // gone out before; the server's live count, not its buffered log.
        QPointer<WebView> page = stage.banner->webView();
        const qsizetype received = stage.events.size();
        const int requestsBeforeRelease = server.stats().value("adRequests").toInt();
        delete stage.banner;
        spin(1500);
        QCOMPARE(server.stats().value("adRequests").toInt(), requestsBeforeRelease);
        QVERIFY(!page);
        QCOMPARE(stage.events.size(), received);
    }

    // Out of sight long enough, a banner gives its pages back, a click
    // already sent still arrives, and in sight again it asks for a new ad.
    void dormantBannerGivesPagesBackAndLoadsAnew()
    {
        AdServerProcess server;
        BannerStage stage(server);
        QWidget &window = *stage.screen.view();
        stage.load();
        QVERIFY(stage.waitForEvents(1));
        QPointer<WebView> page = stage.banner->webView();
        bool clicked = false;
        QObject observer;
        NotificationCenter::defaultCenter()->addObserver(&observer, TSKWebViewNotification::DidReceiveWebAction, page,
                                                         [&](const Notification &) { clicked = true; });
        const QString tap = QUrl::toPercentEncoding("http://" + server.host() + "/track/tap?unit=u&creative=c&rid=1");
        page->evaluateJavaScript("location.href = 'tsmsg:///httpTrack?u=" + tap + "';");
        QVERIFY(waitUntil([&] { return clicked; }));
        window.hide();
        QVERIFY(waitUntil([&] { return stage.loader()->dormancyTimer(); }));
        QCOMPARE(stage.loader()->dormancyTimer()->timeInterval(), TSKObjectPrivate::kDormantAfterSeconds);
        stage.loader()->dormancyTimer()->fire();
        QVERIFY(!stage.banner->webView() && !stage.loader()->adHTML());
        QVERIFY(waitUntil([&] { return !page && !server.requestsTo("/track/tap").isEmpty(); }));
        stage.banner->resize(300, 50);

        window.show();
        QVERIFY(stage.waitForEvents(2));
        QVERIFY(stage.banner->webView()->isVisibleTo(stage.banner));
        QCOMPARE(stage.banner->webView()->size(), QSize(300, 50));
        spin(300);
        const QList<QJsonObject> ads = server.requestsTo("/ad");
        QCOMPARE(ads.size(), 2);
        const auto preqs = [](const QJsonObject &ad) { return ad["query"].toObject()["preqs"].toString().toInt(); };
        QCOMPARE(preqs(ads[1]), preqs(ads[0]) + 1);

        // Released while dormant with a load waiting for sight.
        window.hide();
        QVERIFY(waitUntil([&] { return stage.loader()->dormancyTimer(); }));
        stage.loader()->dormancyTimer()->fire();
        stage.load();
        delete stage.banner;
        spin(200);
    }
};

VELMORA_TEST_MAIN_WITH(TestSeen, [] { TSKBannerView::registerSchemes(); })
#include "tst_seen.moc"
