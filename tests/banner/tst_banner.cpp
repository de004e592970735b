#include "AdServerProcess.h"
#include "Application.h"
#include "BannerStage.h"
#include "EventLoopWait.h"
#include "Notification/TSKNotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Statistics/TSKStatisticsCore.h"
#include "StderrCapture.h"
#include "TestMain.h"
#include <VelmoraAds/TSKBannerView.h>
#include "ViewController.h"
#include "ViewController/TSKFullScreen.h"
#include "View/TSKWebViewDelegate.h"
#include "WebView.h"

#include <QDir>
#include <QMouseEvent>
#include <QJsonArray>
#include <QTemporaryDir>

using namespace Velmora::Platform;

using testsupport::AdServerProcess;
using testsupport::spin;
using testsupport::waitUntil;

namespace {

const QString kUnit = BannerStage::kUnit;

QString queryValue(const QJsonObject &request, const QString &key)
{
    return request.value(QStringLiteral("query")).toObject().value(key).toString();
}

}  // namespace

class TestBanner : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Application::shared()->updateState(Application::Active);
        // Each test starts with a core script that has to be fetched.
        TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects();
    }

    // The first ad, a reload on the server's period that carries the
    // statistics, each ad's impression once; the core script fetched once for
    // every banner until it is a day old, then revalidated.
    void adArrivesReloadsAndCarriesStatistics()
    {
        AdServerProcess server;
        QVERIFY(server.isRunning());
        BannerStage stage(server);
        stage.load();
        QVERIFY(stage.waitForEvents(1));
        QCOMPARE(stage.events, QStringList{"receive"});
        QCOMPARE(stage.loader()->state(), int(TSKObjectPrivate::Shown));
        QVERIFY(stage.banner->webView()->isVisibleTo(stage.banner));
        QVERIFY(!stage.banner->hasAutoRefreshed());

        // The house server asks for a reload every 30 s; run it now.
        QPointer<Timer> reload = stage.loader()->reloadTimer();
        QVERIFY(reload);
        QCOMPARE(reload->timeInterval(), 30.0);
        // Once the first ad has been seen long enough to count; its age shows in the next request.
        QVERIFY(waitUntil([&] { return server.requestsTo("/track/impression").size() == 1; }));
        reload->fire();
        QVERIFY(stage.waitForEvents(2));
        QCOMPARE(stage.events, QStringList({"receive", "receive"}));
        QVERIFY(stage.banner->hasAutoRefreshed());

        QVERIFY(waitUntil([&] { return server.requestsTo("/ad").size() == 2; }));
        const QList<QJsonObject> ads = server.requestsTo("/ad");
        QCOMPARE(queryValue(ads[1], "preqs").toInt(), queryValue(ads[0], "preqs").toInt() + 1);
        QVERIFY(queryValue(ads[1], "ptime").toLongLong() > queryValue(ads[0], "ptime").toLongLong());
        QVERIFY(queryValue(ads[0], "prl").isEmpty());
        QVERIFY(queryValue(ads[1], "prl").toLongLong() > 0);
        QCOMPARE(queryValue(ads[1], "slotname"), kUnit);
        QCOMPARE(server.requestsTo("/tiskos/sdk-core-v40.js").size(), 1);

        // Each ad's impression trackers, once per ad shown.
        QVERIFY(waitUntil([&] { return server.requestsTo("/track/impression").size() == 2; }));
        spin(300);
        const QList<QJsonObject> impressions = server.requestsTo("/track/impression");
        QCOMPARE(impressions.size(), 2);
        QCOMPARE(queryValue(impressions[0], "rid"), "1");
        QCOMPARE(queryValue(impressions[1], "rid"), "2");

        BannerStage second(server);
        second.load();
        QVERIFY(second.waitForEvents(1));
        QCOMPARE(server.requestsTo("/tiskos/sdk-core-v40.js").size(), 1);
        TSKStatisticsCore store(QStringLiteral("TSKObjectPrivate"));
        store.setDateForKey(QDateTime::currentDateTimeUtc().addSecs(-1), QStringLiteral("expireDate"));
        store.synchronize();
        BannerStage third(server);
        third.load();
        QVERIFY(third.waitForEvents(1));
        QCOMPARE(third.events, QStringList{"receive"});
        QVERIFY(waitUntil([&] { return server.requestsTo("/tiskos/sdk-core-v40.js").size() == 2; }));
        const QList<QJsonObject> scripts = server.requestsTo("/tiskos/sdk-core-v40.js");
        QCOMPARE(scripts.size(), 2);
        QCOMPARE(scripts[1].value("status").toInt(), 304);
    }

    void reloadPeriods()
    {
        // The period is read like the phone's doubleValue.
        const std::pair<const char *, double> periods[] = {
            {"30", 30}, {" 2.5s", 2.5}, {"abc", 0}, {"", 0}, {"nan", 0}, {"-1", -1}, {"1e12", 1e12}};
        for (const auto &[text, seconds] : periods)
            QCOMPARE(TSKObjectPrivate::periodFromHeader(text), seconds);
        QVERIFY(std::isinf(TSKObjectPrivate::periodFromHeader("inf")));

        QWidget view;
        TSKObjectPrivate loader(&view);
        view.show();
        QVERIFY(waitUntil([&] { return loader.isSeen(); }));
        loader.scheduleReloadTimer(1e12);
        // A period past what a timer can count is "not in this run", never "now".
        QCOMPARE(loader.reloadTimer()->intervalMs(), std::numeric_limits<int>::max());
        // Under a second, negatives included, is a second.
        for (const double seconds : {-1.0, 0.001, 1.0}) {
            loader.scheduleReloadTimer(seconds);
            QCOMPARE(loader.reloadTimer()->timeInterval(), 1.0);
        }
        loader.scheduleReloadTimer(0);
        QVERIFY(!loader.reloadTimer());
        QCOMPARE(loader.reloadSeconds(), 1.0);

        // The background and any full-screen ad pause every banner; coming
        // back restarts the last period in full.
        struct Step
        {
            const QString name;
            bool timerAfter;
        };
        const Step steps[] = {{Application::WillEnterForegroundNotification, true},
                              {Application::DidEnterBackgroundNotification, false},
                              {Application::WillEnterForegroundNotification, true},
                              {TSKFullScreen::WillPresentNotification, false},
                              {TSKFullScreen::DidRelinquishNotification, true}};
        for (const Step &step : steps) {
            NotificationCenter::defaultCenter()->postNotificationName(step.name);
            QVERIFY2(bool(loader.reloadTimer()) == step.timerAfter, qPrintable(step.name));
        }
        QCOMPARE(loader.reloadTimer()->timeInterval(), 1.0);
    }

    void loadsThatSendNothing()
    {
        AdServerProcess server;
        {
            // Once launched, a load in the background does nothing at all.
            NotificationCenter::defaultCenter()->postNotificationName(Application::DidFinishLaunchingNotification);
            Application::shared()->updateState(Application::Background);
            BannerStage stage(server);
            stage.load();
            spin(500);
            Application::shared()->updateState(Application::Active);
            QCOMPARE(stage.loader()->state(), int(TSKObjectPrivate::Idle));
            QVERIFY(stage.events.isEmpty());
        }
        {
            testsupport::StderrCapture log;
            BannerStage stage(server);
            stage.banner->setRootViewController(nullptr);
            stage.load();
            QCOMPARE(stage.events, QStringList{"fail"});
            QCOMPARE(stage.errors.first().code, TSKRequestError::InvalidRequest);
            QVERIFY(log.text().contains(
                "<Tiskos> Must set the rootViewController property of TSKBannerView before calling loadRequest:"));
            spin(300);
            QCOMPARE(stage.events.size(), 1);
        }
        QVERIFY(server.requests().isEmpty());
    }

    void faultsEndInOneFailure_data()
    {
        QTest::addColumn<QStringList>("serverOptions");
        QTest::addColumn<QString>("unit");
        QTest::addColumn<QString>("outcome");  // "receive", "fail <code>" or "idle"
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("logLine");
        QTest::addColumn<bool>("reloadScheduled");
        const QString rejected = "<Tiskos> Server rejected ad parameters.  Typically this is because the ad unit ID is incorrect.";
        // Without a refresh header ever seen there is no schedule to retry on.
        QTest::newRow("400") << QStringList{"--fault", "status:400"} << kUnit << "fail 0" << 7 << rejected << false;
        QTest::newRow("500") << QStringList{"--fault", "status:500"} << kUnit << "fail 2" << 7 << "" << false;
        QTest::newRow("empty page") << QStringList{"--fault", "empty"} << kUnit << "fail 1" << 7 << "" << true;
        QTest::newRow("truncated") << QStringList{"--fault", "truncated"} << kUnit << "fail 2" << 7 << "" << true;
        QTest::newRow("slow") << QStringList{"--fault", "slow:800"} << kUnit << "receive" << 6 << "" << true;
        QTest::newRow("redirect loop") << QStringList{"--fault", "redirect-loop"} << kUnit << "fail 2" << 7 << "" << false;
        QTest::newRow("garbage script") << QStringList{"--fault", "garbage-script"} << kUnit << "idle" << 3 << "" << false;
        QTest::newRow("unknown unit") << QStringList{} << "a99999999999999" << "fail 0" << 3
                                      << "<Tiskos> Unable to serve: " << false;
        QTest::newRow("malformed unit") << QStringList{} << "bogus" << "fail 0" << 3 << "<Tiskos> Invalid Request: "
                                        << false;
        QTest::newRow("flood") << QStringList{"--fault", "flood"} << kUnit << "receive" << 6 << "" << true;
    }

    void faultsEndInOneFailure()
    {
        QFETCH(QStringList, serverOptions);
        QFETCH(QString, unit);
        QFETCH(QString, outcome);
        QFETCH(int, state);
        QFETCH(QString, logLine);
        QFETCH(bool, reloadScheduled);
        AdServerProcess server(serverOptions);
        QVERIFY(server.isRunning());
        testsupport::StderrCapture log;
        BannerStage stage(server, nullptr, QRectF(0, 430, 320, 50), unit);
        stage.load();
        if (outcome == "idle") {
            QVERIFY(waitUntil([&] { return server.requestsTo("/tiskos/sdk-core-v40.js").size() == 1; }));
            spin(2000);
            QVERIFY(stage.events.isEmpty());
        } else {
            QVERIFY(stage.waitForEvents(1));
            spin(500);  // nothing more follows
            QCOMPARE(stage.events.size(), 1);
            const QString seen = stage.events.first() == "receive"
                ? QStringLiteral("receive")
                : QStringLiteral("fail %1").arg(stage.errors.first().code);
            QCOMPARE(seen, outcome);
        }
        QCOMPARE(stage.loader()->state(), state);
        QCOMPARE(bool(stage.loader()->reloadTimer()), reloadScheduled);
        if (!logLine.isEmpty())
            QCOMPARE(log.text().count(logLine.toUtf8()), 1);
        // The statistics store is still readable after the fault.
        QVERIFY(!TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).dateForKey("expireDate").isNull());
    }

    // What a page's navigation does, by URL: allowed or not, the web action
    // posted ("-" none), and what reaches the server, the desktop or the log.
    void bridgeMessages()
    {
        AdServerProcess server;
        const QString base = QStringLiteral("http://") + server.host();
        const QString click = QUrl::toPercentEncoding(base + "/track/click?unit=u&creative=c&rid=1");
        const QString tap = QUrl::toPercentEncoding(base + "/track/tap?unit=u&creative=c&rid=1");
        struct Row
        {
            QString url;
            WebViewDelegate::NavigationType type;
            bool allowed;
            QString action;
            QString effect;  // "server:PATH", "desktop:URL", "log:TEXT", "posted:NAME" or ""
        };
        const QString huge = "tsmsg:///log?string=" + QString(TSKWebViewDelegate::kMaximumMessageBytes, 'x');
        const Row rows[] = {
            // Nothing leaves without a tap on the ad.
            {"tsmsg:///open?a=app&u=velmora-arcade%3A%2F%2Fplay", WebViewDelegate::Other, false, "open",
             "log:<Tiskos> Refused to open another program without a tap on the ad"},
            {"tsmsg:///click?u=" + click, WebViewDelegate::Other, false, "click", "server:/track/click"},
            {"tsmsg:///httpTrack?u=" + tap, WebViewDelegate::Other, false, "httpTrack", "server:/track/tap"},
            {"tsmsg://any-host/log?string=hello%20there", WebViewDelegate::Other, false, "log", "log:hello there"},
            {"tsmsg:///log", WebViewDelegate::Other, false, "log", "log:(null)"},
            {"tsmsg:///close", WebViewDelegate::Other, false, "close", ""},
            {"tsmsg:///vibrate", WebViewDelegate::Other, false, "vibrate", ""},
            {"tsmsg:///touch?tx=3&ty=4", WebViewDelegate::Other, false, "touch", ""},
            {"tsmsg:///open?a=app&u=velmora-arcade%3A%2F%2Fplay", WebViewDelegate::Other, false, "open",
             "desktop:velmora-arcade://play"},
            {"tsmsg:///open?a=browser", WebViewDelegate::Other, false, "open", ""},
            {"tsmsg:///settings?supportedOrientations=any", WebViewDelegate::Other, false, "settings", "posted:settings"},
            {"tiskos://log?string=old%20form", WebViewDelegate::Other, false, "log", "log:old form"},
            {"tiskos://elsewhere?x=1", WebViewDelegate::Other, false, "-", ""},
            {huge, WebViewDelegate::Other, false, "-", "log:<Tiskos> Dropped a page message"},
            {"file:///etc/passwd", WebViewDelegate::LinkClicked, false, "-", ""},
            {"about:blank", WebViewDelegate::Other, true, "-", ""},
            {base + "/", WebViewDelegate::Other, true, "-", ""},
            {base + "/landing/index.html", WebViewDelegate::LinkClicked, true, "", ""},
            {"mailto:club@velmora.example?subject=Hi", WebViewDelegate::LinkClicked, false, "", ""},
            {"velmora-arcade://scores", WebViewDelegate::LinkClicked, false, "", "desktop:velmora-arcade://scores"},
        };
        WebView webView;
        TSKWebViewDelegate delegate;
        const auto press = [&webView] {
            QMouseEvent event(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton, {});
            QCoreApplication::sendEvent(&webView, &event);
        };
        QList<QUrl> opened;
        Application::shared()->setUrlOpener([&](const QUrl &url) { opened << url; return true; });
        QStringList actions;
        QStringList posted;
        QObject observer;
        NotificationCenter *center = NotificationCenter::defaultCenter();
        center->addObserver(&observer, QString(), &webView, [&](const Notification &n) {
            if (n.name() == TSKWebViewNotification::DidReceiveWebAction)
                actions << n.userInfo().value("a", QString()).toString();
            else
                posted << n.name();
        });
        for (const Row &row : rows) {
            actions.clear();
            posted.clear();
            opened.clear();
            testsupport::StderrCapture log;
            const int served = int(server.requests().size());
            if (row.effect.startsWith("desktop"))
                press();
            QNetworkRequest request{QUrl(row.url)};
            QCOMPARE(delegate.webViewShouldStartLoad(&webView, request, row.type), row.allowed);
            QCOMPARE(actions, row.action == "-" ? QStringList() : QStringList{row.action});
            const QString kind = row.effect.section(':', 0, 0);
            const QString what = row.effect.section(':', 1);
            if (kind == "server")
                QVERIFY2(waitUntil([&] { return !server.requestsTo(what).isEmpty(); }, 10000), qPrintable(row.url));
            spin(kind == "desktop" ? 100 : 20);
            QCOMPARE(opened, kind == "desktop" ? QList<QUrl>{QUrl(what)} : QList<QUrl>());
            QCOMPARE(posted, kind == "posted" ? QStringList{what} : QStringList());
            if (kind == "log")
                QVERIFY2(log.text().contains(what.toUtf8()), qPrintable(row.url));
            if (kind != "server")
                QCOMPARE(server.requests().size(), served);
        }
        Application::shared()->setUrlOpener({});
    }

    void hostileCreativesStayContained_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::addColumn<QString>("probe");
        QTest::addColumn<bool>("shown");
        QTest::newRow("navigates itself once shown")
            << QByteArray("<body>ad<script>setTimeout(function(){ location.href = '/landing/index.html'; }, 200);"
                          "setTimeout(function(){ location.href = 'tsmsg:///probe?done=1'; }, 600);</script></body>")
            << "done=1" << true;
        QTest::newRow("reads local files")
            << QByteArray("<body><iframe id='f' src='file:///etc/passwd'></iframe><script>"
                          "onload = function(){ var read = 'none';"
                          " try { if (document.getElementById('f').contentDocument.body.innerText.indexOf('root:') >= 0)"
                          "   read = 'leaked'; } catch (e) {}"
                          " fetch('file:///etc/passwd').then(function(){ read = 'fetched'; }).catch(function(){})"
                          " .then(function(){ setTimeout(function(){ location.href = 'tsmsg:///probe?read=' + read; }, 100); });"
                          "};</script></body>")
            << "read=none" << true;
        QTest::newRow("spins forever")
            << QByteArray("<body>ad<script>for (;;) {}</script></body>") << "" << false;
    }

    void hostileCreativesStayContained()
    {
        QFETCH(QByteArray, html);
        QFETCH(QString, probe);
        QFETCH(bool, shown);
        QTemporaryDir dir;
        const QString site = AdServerProcess::siteServing(dir, "hostile");  // the house site, no creative of its own
        QFile page(site + "/creatives/hostile.html"), catalogue(site + "/creatives/catalogue.json");
        QVERIFY(page.open(QIODevice::WriteOnly) && page.write(html) == html.size());
        QVERIFY(catalogue.open(QIODevice::WriteOnly | QIODevice::Truncate));
        catalogue.write(R"([{ "id": "hostile", "file": "hostile.html", "orientation": "any" }])");
        catalogue.close();
        page.close();
        AdServerProcess server({"--www", site, "--refresh", "0"});
        QVERIFY(server.isRunning());
        QVariantMap probed;
        QObject observer;
        NotificationCenter::defaultCenter()->addObserver(&observer, QStringLiteral("probe"), nullptr,
                                                         [&](const Notification &n) { probed = n.userInfo(); });
        BannerStage stage(server);
        // The game's clock, to see that the page never holds it up.
        int ticks = 0;
        QTimer tick;
        QObject::connect(&tick, &QTimer::timeout, [&] { ++ticks; });
        tick.start(50);
        stage.load();
        const int timeoutMs = int(TSKObjectPrivate::kRenderDeadlineSeconds * 1000) + 60000;
        QVERIFY(stage.waitForEvents(1, timeoutMs));
        QCOMPARE(stage.events.first(), shown ? QStringLiteral("receive") : QStringLiteral("fail"));
        QVERIFY(ticks > 0);
        if (!probe.isEmpty()) {
            QVERIFY(waitUntil([&] { return !probed.isEmpty(); }, 10000));
            const QString key = probe.section('=', 0, 0);
            QCOMPARE(probed.value(key).toString(), probe.section('=', 1));
            // The page stayed where the ad put it.
            QCOMPARE(stage.banner->webView()->requestURL().path(), QStringLiteral("/page/hostile"));
            QVERIFY(server.requestsTo("/landing/index.html").isEmpty());
        }
        QCOMPARE(stage.events.size(), 1);
    }
};

VELMORA_TEST_MAIN_WITH(TestBanner, [] { TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")}); })
#include "tst_banner.moc"
