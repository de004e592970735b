#include "Application.h"
#include "Delegate/TSKDelegateManager.h"
#include "EventLoopWait.h"
#include "HttpTestSupport.h"
#include "Object/TSKObjectPrivate.h"
#include "RendererWatch.h"
#include <VelmoraAds/TSKRequest.h>
#include "Statistics/TSKStatisticsCore.h"
#include "StderrCapture.h"
#include "TestMain.h"
#include "URLConnection.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKPrivateUtilities.h"
#include <VelmoraAds/BannerAd.h>
#include <VelmoraAds/TSKBannerView.h>
#include "ViewController.h"
#include "WebProfile.h"
#include "WebView.h"

#include <QDir>
#include <QElapsedTimer>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTimer>
#include <QWebEngineProfile>
#include <QWindow>
#include <csignal>

using namespace Velmora::Platform;

using testsupport::spin;
using testsupport::waitUntil;

namespace {

const QByteArray kPlainAd = "<html><body>ad</body></html>";

// What a publisher's delegate heard, in order: "receive" or "fail <code>".
class Outcomes : public QObject
{
    Q_OBJECT
public:
    QStringList seen;
    Q_INVOKABLE void adViewDidReceiveAd(QObject *) { seen << QStringLiteral("receive"); }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(QObject *, const Error &error)
    {
        seen << QStringLiteral("fail %1").arg(error.code);
    }
};

// A scripted ad network on 127.0.0.1: a core script that asks for /ad, and
// an /ad that answers with a plain page until a row says otherwise.
struct Network
{
    Network()
    {
        TSKNetworkConfiguration::setStaticContentHost(server.url("").authority());
        TSKNetworkConfiguration::setAdServerHost(server.url("").authority());
        serveCoreScriptAsking(server.url("/ad").toString());
        server.reply("/ad", 200, {}, kPlainAd);
        server.reply("/track", 200, {}, "ok");
    }
    void serveCoreScriptAsking(const QString &adURL)
    {
        server.reply(coreScriptPath, 200, {},
                     "window.TISKOS_buildAdURL = function () { location.href = 'tsmsg:///loadAdURL?type=html&url='"
                     " + encodeURIComponent('" + adURL.toUtf8() + "'); };");
    }
    // An /ad that redirects once with these headers to a page with this body.
    void serveAdThroughRedirect(const QByteArray &trackingURLs, const QByteArray &page)
    {
        server.reply("/ad", 302, {{"Location", "/page"}, {"X-Tiskos-Tracking-Urls", trackingURLs}});
        server.reply("/page", 200, {}, page);
    }
    void serveTrackingURLs(int count)
    {
        QByteArrayList urls;
        for (int i = 0; i < count; ++i)
            urls << server.url("/track?i=" + QString::number(i)).toEncoded();
        serveAdThroughRedirect(urls.join(' '), kPlainAd);
    }
    const QString coreScriptPath = QStringLiteral("/tiskos/sdk-core-v40.js");
    HttpTestServer server;
};

// An ad page that runs `script` once it has been shown.
QByteArray creative(const QByteArray &script)
{
    return "<html><body>ad<script>onload = function () { setTimeout(function () {" + script
           + "}, 50); };</script></body></html>";
}

// One load of a banner against the network, once its outcome is in.
struct Scene
{
    Network &network;
    QObject *banner;
    Outcomes &outcomes;
    testsupport::StderrCapture &log;
    TSKObjectPrivate *loader() const { return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner); }
};

// One door of the ad network, as a row: how the network misbehaves, what
// the banner must tell its delegate, and what else must hold after.
struct Door
{
    const char *name;
    std::function<void(Network &)> misbehave;
    QStringList outcomes;
    std::function<void(Scene &)> check;
};

QList<Door> doors()
{
    const QByteArray passwd = "file:///etc/passwd";
    return {
        {"core script redirects to a file",
         [=](Network &n) { n.server.redirect(n.coreScriptPath, passwd); }, {"fail 2"},
         [](Scene &s) { QVERIFY(s.network.server.requestsTo("/ad").isEmpty()); }},
        {"ad request redirects to a file", [=](Network &n) { n.server.redirect("/ad", passwd); }, {"fail 2"}, {}},
        {"ad URL is a data URL", [](Network &n) { n.serveCoreScriptAsking("data:text/html,<b>ad</b>"); }, {"fail 2"},
         {}},
        {"ad page drips", [](Network &n) {
             URLConnection::setDeadlineMilliseconds(1500);
             n.server.drip("/ad", 100);
         }, {"fail 2"}, {}},
        {"core script too long",
         [](Network &n) {
             n.server.reply(n.coreScriptPath, 200, {},
                            QByteArray(TSKObjectPrivate::kMaximumCoreScriptBytes + 1, ' '));
         },
         {"fail 2"}, [](Scene &s) { QVERIFY(s.network.server.requestsTo("/ad").isEmpty()); }},
        {"ad page too long",
         [](Network &n) {
             n.server.reply("/ad", 200, {}, QByteArray(TSKObjectPrivate::kMaximumAdPageBytes + 1, ' ') + kPlainAd);
         },
         {"fail 2"}, {}},
        {"two thousand tracking URLs", [](Network &n) { n.serveTrackingURLs(2000); }, {"receive"},
         [](Scene &s) {
             // The first of them, once each.
             QVERIFY(waitUntil([&] { return s.network.server.requestsTo("/track").size() == 16; }, 10000));
             spin(300);
             QStringList pinged;
             for (const HttpTestServer::Request &request : s.network.server.requestsTo("/track"))
                 pinged << request.query.queryItemValue("i");
             QStringList first;
             for (int i = 0; i < TSKObjectPrivate::kMaximumTrackingURLs; ++i)
                 first << QString::number(i);
             pinged.sort();
             first.sort();
             QCOMPARE(pinged, first);
         }},
        // A header that long is more than the network layer reads.
        {"ten thousand tracking URLs", [](Network &n) { n.serveTrackingURLs(10000); }, {"fail 2"},
         [](Scene &s) { QVERIFY(s.network.server.requestsTo("/track").isEmpty()); }},
        {"tracking URLs that are files",
         [](Network &n) {
             n.serveAdThroughRedirect("file:///dev/zero data:,x " + n.server.url("/track").toEncoded(), kPlainAd);
         },
         {"receive"},
         [](Scene &s) {
             QVERIFY(waitUntil([&] { return !s.network.server.requestsTo("/track").isEmpty(); }, 10000));
         }},
        {"bridge message too long",
         [](Network &n) {
             n.server.reply("/ad", 200, {},
                            creative("location.href = 'tsmsg:///log?string=' + 'x'.repeat(300000);"
                                     "setTimeout(function () { location.href = 'tsmsg:///log?string=after'; }, 100);"));
         },
         {"receive"},
         [](Scene &s) {
             // The page's next message still arrives, the dropped one never does.
             QVERIFY(waitUntil([&] { return s.log.text().contains("after\n"); }, 10000));
             QVERIFY(s.log.text().contains("<Tiskos> Dropped a page message"));
             QVERIFY(!s.log.text().contains("xxxx"));
         }},
        {"opens a local program",
         [](Network &n) {
             n.server.reply("/ad", 200, {},
                            creative("location.href = 'tsmsg:///open?a=app&u=' + encodeURIComponent('file:///bin/sh');"));
         },
         {"receive"}, {}},
        {"renderer dies",
         [](Network &n) {
             // The page takes memory until its renderer is killed; the next ad is plain.
             n.server.on("/ad", [served = 0](const QHttpServerRequest &, QHttpServerResponder &responder) mutable {
                 const QByteArray page = ++served == 1
                     ? "<html><body><script>var hoard = []; for (;;) hoard.push(new Array(1 << 20).fill(1.5));"
                       "</script></body></html>"
                     : kPlainAd;
                 HttpTestServer::respond(responder, 200, {{"X-Tiskos-Refresh-Rate", "60"}}, page);
             });
         },
         {"fail 2"},
         [](Scene &s) {
             // Failed, so the render deadline has nothing left to end; the reload goes on.
             QCOMPARE(s.loader()->state(), int(TSKObjectPrivate::Failed));
             QVERIFY(s.loader()->reloadTimer());
             s.loader()->reloadTimer()->fire();
             QVERIFY(waitUntil([&] { return s.outcomes.seen.size() == 2; }));
             QCOMPARE(s.outcomes.seen.last(), QStringLiteral("receive"));
             s.outcomes.seen.removeLast();
         }},
        {"asks for windows, dialogs and permissions",
         [](Network &n) {
             n.server.reply("/ad", 200, {},
                            creative("alert('hi'); confirm('ok?'); prompt('name?');"
                                     "window.open('/track?popup=1'); document.body.requestFullscreen();"
                                     "navigator.geolocation.getCurrentPosition(function () {});"
                                     "var a = document.createElement('a'); a.href = '/track?download=1';"
                                     "a.download = 'x.bin'; document.body.appendChild(a); a.click();"));
         },
         {"receive"},
         [](Scene &s) {
             QVERIFY(waitUntil([&] { return s.log.text().contains("refused an alert"); }, 10000));
             // The engine may ask for a download; nothing is kept of it.
             for (const HttpTestServer::Request &request : s.network.server.requestsTo("/track"))
                 QCOMPARE(request.query.toString(), QStringLiteral("download=1"));
             QVERIFY(QDir(WebProfile::shared()->downloadPath()).isEmpty());
         }},
    };
}

// Resident memory of this process, in MB.
double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ').value(1).toDouble() / 1024.0;
    }
    return 0;
}

int visibleWindowCount()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    return int(std::count_if(windows.begin(), windows.end(), [](const QWindow *w) { return w->isVisible(); }));
}

}  // namespace

// A hostile ad network, door by door, against one banner on a visible screen:
// each load ends as it must, nothing reaches the desktop, no window opens,
// the game's clock keeps ticking and memory stays bounded.
class TestHostile : public QObject
{
    Q_OBJECT
    ViewController screen_;
    QQuickWindow scene_;
    QQmlEngine qml_;

    // A banner along the bottom of a visible screen, drawn as widgets or in
    // Qt Quick, loading an ad; the delegate hears its outcomes.
    std::unique_ptr<QObject> loadBanner(const QString &surface, Outcomes &outcomes)
    {
        if (surface == QLatin1String("widgets")) {
            auto banner = std::make_unique<TSKBannerView>(QRectF(0, 430, 320, 50), screen_.view());
            banner->setAdUnitID(QStringLiteral("a1f3c29b07d5e64"));
            banner->setRootViewController(&screen_);
            banner->setDelegate(&outcomes);
            banner->show();
            banner->loadRequest(TSKRequest::request().get());
            return banner;
        }
        QQmlComponent component(&qml_);
        component.setData("import Velmora.Ads\nBannerAd { y: 430; width: 320; adUnitId: 'a1f3c29b07d5e64' }", QUrl());
        std::unique_ptr<QObject> banner(component.create());
        auto *item = qobject_cast<Velmora::Ads::BannerAd *>(banner.get());
        item->setParentItem(scene_.contentItem());
        item->load();
        if (!waitUntil([&] { return loaderOf(item); }))
            return nullptr;
        loaderOf(item)->delegateManager()->addDelegate(&outcomes, item);
        return banner;
    }
    static TSKObjectPrivate *loaderOf(QObject *banner)
    {
        return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner);
    }

private slots:
    void initTestCase()
    {
        Application::shared()->updateState(Application::Active);
        screen_.view()->resize(320, 480);
        screen_.view()->show();
        qmlRegisterType<Velmora::Ads::BannerAd>("Velmora.Ads", 1, 0, "BannerAd");
        scene_.resize(320, 480);
        scene_.show();
    }

    void init() { TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects(); }

    void cleanup()
    {
        URLConnection::setDeadlineMilliseconds(URLConnection::defaultDeadlineMilliseconds);
        Application::shared()->setUrlOpener({});
    }

    void doorsStayClosed_data()
    {
        QTest::addColumn<int>("door");
        QTest::addColumn<QString>("surface");
        const QList<Door> all = doors();
        for (const char *surface : {"widgets", "quick"}) {
            for (int i = 0; i < all.size(); ++i)
                QTest::addRow("%s: %s", surface, all[i].name) << i << QString::fromLatin1(surface);
        }
    }

    void doorsStayClosed()
    {
        QFETCH(int, door);
        QFETCH(QString, surface);
        const Door row = doors().at(door);
        Network network;
        row.misbehave(network);
        QList<QUrl> opened;
        Application::shared()->setUrlOpener([&](const QUrl &url) { opened << url; return true; });
        const int windows = visibleWindowCount();
        const double memory = residentMegabytes();
        int ticks = 0;
        QTimer tick;
        connect(&tick, &QTimer::timeout, [&] { ++ticks; });
        tick.start(50);

        testsupport::StderrCapture log;
        Outcomes outcomes;
        const std::unique_ptr<QObject> banner = loadBanner(surface, outcomes);
        QVERIFY(banner);
        QVERIFY(waitUntil([&] { return !outcomes.seen.isEmpty(); }));
        // Long enough for a page's script, a tracker or an opener's wait to act.
        spin(1500);
        Scene scene{network, banner.get(), outcomes, log};
        if (row.check)
            row.check(scene);
        QCOMPARE(outcomes.seen, row.outcomes);
        QVERIFY(opened.isEmpty());
        QCOMPARE(visibleWindowCount(), windows);
        QVERIFY2(residentMegabytes() - memory < 100, qPrintable(QString::number(residentMegabytes() - memory)));
        QVERIFY(ticks > 0);
    }

    void refreshUnderASecondWaitsASecond_data()
    {
        QTest::addColumn<QByteArray>("period");
        QTest::newRow("negative") << QByteArray("-1");
        QTest::newRow("a millisecond") << QByteArray("0.001");
    }

    // Not as fast as loads finish: at most one reload a second.
    void refreshUnderASecondWaitsASecond()
    {
        QFETCH(QByteArray, period);
        Network network;
        network.server.reply("/ad", 200, {{"X-Tiskos-Refresh-Rate", period}}, kPlainAd);
        Outcomes outcomes;
        QElapsedTimer clock;
        clock.start();
        const auto banner = std::make_unique<TSKBannerView>(QRectF(0, 430, 320, 50), screen_.view());
        banner->setRootViewController(&screen_);
        banner->setDelegate(&outcomes);
        banner->show();
        banner->loadRequest(TSKRequest::request().get());
        QVERIFY(waitUntil([&] { return outcomes.seen.size() >= 3; }));
        const auto *loader = TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner.get());
        QCOMPARE(loader->reloadSeconds(), TSKObjectPrivate::kMinimumReloadSeconds);
        const qsizetype requests = network.server.requestsTo("/ad").size();
        QVERIFY2(requests <= 2 + clock.elapsed() / 1000, qPrintable(QString::number(requests)));
        QCOMPARE(outcomes.seen, QStringList(outcomes.seen.size(), QStringLiteral("receive")));
    }

    // A renderer starved for longer than a render was once given (its process
    // stopped, as a machine whose cores are all taken may leave it) is slow,
    // not stuck: the held-up ad is shown, nothing fails, the renderer stays.
    // One that does end under a hidden build page fails that load once, and
    // the banner's reloads go on.
    void busyRendererCostsNoAd()
    {
        Network network;
        WebView other;
        QSignalSpy otherLoaded(&other, &QWebEngineView::loadFinished);
        other.loadHTMLString(QStringLiteral("<p>other</p>"), network.server.url("/"));
        QVERIFY(waitUntil([&] { return otherLoaded.size() == 1; }));
        const qint64 renderer = other.page()->renderProcessPid();
        const double starved = TSKObjectPrivate::kRenderDeadlineSeconds + RendererWatch::kStuckProcessorSeconds + 2;
        // Runs again however the test ends.
        const auto resumed = qScopeGuard([renderer] { ::kill(pid_t(renderer), SIGCONT); });
        network.server.on("/ad", [&, served = 0](const QHttpServerRequest &, QHttpServerResponder &responder) mutable {
            if (++served == 1) {
                ::kill(pid_t(renderer), SIGSTOP);
                QTimer::singleShot(int(starved * 1000), &other, [renderer] { ::kill(pid_t(renderer), SIGCONT); });
            }
            HttpTestServer::respond(responder, 200, {{"X-Tiskos-Refresh-Rate", "60"}}, kPlainAd);
        });
        Outcomes outcomes;
        const auto banner = std::make_unique<TSKBannerView>(QRectF(0, 430, 320, 50), screen_.view());
        banner->setRootViewController(&screen_);
        banner->setDelegate(&outcomes);
        banner->show();
        banner->loadRequest(TSKRequest::request().get());
        QVERIFY(waitUntil([&] { return !outcomes.seen.isEmpty(); }, int(starved * 1000) + 30000));
        QCOMPARE(outcomes.seen, QStringList{"receive"});
        QCOMPARE(other.page()->renderProcessPid(), renderer);

        // The next core script never answers; its renderer is ended under it.
        network.server.reply(network.coreScriptPath, 200, {}, "window.TISKOS_buildAdURL = function () { for (;;) {} };");
        TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects();
        TSKObjectPrivate *loader = TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner.get());
        loader->reloadTimer()->fire();
        QVERIFY(waitUntil([&] { return network.server.requestsTo(network.coreScriptPath).size() == 2; }));
        spin(500);
        ::kill(pid_t(renderer), SIGKILL);
        QVERIFY(waitUntil([&] { return outcomes.seen.size() == 2; }));
        QCOMPARE(outcomes.seen.last(), QStringLiteral("fail 2"));
        QVERIFY(loader->reloadTimer());
        network.serveCoreScriptAsking(network.server.url("/ad").toString());
        TSKStatisticsCore(QStringLiteral("TSKObjectPrivate")).removeAllObjects();
        loader->reloadTimer()->fire();
        QVERIFY(waitUntil([&] { return outcomes.seen.size() == 3; }));
        QCOMPARE(outcomes.seen.last(), QStringLiteral("receive"));
    }
};

// A small script heap, so a page that hoards memory loses its renderer soon.
VELMORA_TEST_MAIN_WITH(TestHostile, [] {
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", qgetenv("QTWEBENGINE_CHROMIUM_FLAGS") + " --js-flags=--max-old-space-size=32");
    TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")});
})
#include "tst_hostile.moc"
