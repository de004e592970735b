#include "AdServerProcess.h"
#include "Application.h"
#include "Browser/TSKBrowserController.h"
#include "DelayedPerform.h"
#include "Delegate/TSKDelegateManager.h"
#include "EventLoopWait.h"
#include "MailComposeViewController.h"
#include "ModalTransition.h"
#include "NotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include "Opener/TSKOpener.h"
#include "PageScript.h"
#include "QuickWebView.h"
#include "Quick/TSKQuickPresenter.h"
#include "Quick/TSKQuickScreen.h"
#include "StderrCapture.h"
#include <VelmoraAds/TSKRequest.h>
#include "TestMain.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKPrivateUtilities.h"
#include <VelmoraAds/TSKBannerView.h>
#include "ViewController.h"
#include "ViewController/TSKFullScreen.h"
#include "WebApp/TSKWebAppViewController.h"
#include "WebView.h"
#include "Window.h"

#include <QAction>
#include <QAbstractAnimation>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QToolBar>

using namespace Velmora::Platform;

using testsupport::AdServerProcess;
using testsupport::waitUntil;

namespace {

class Recorder : public QObject
{
    Q_OBJECT
public:
    QStringList events;
    Q_INVOKABLE void adViewDidReceiveAd(QObject *) { events << "receive"; }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(QObject *, const Error &) { events << "fail"; }
    Q_INVOKABLE void adViewWillPresentScreen(QObject *) { events << "willPresent"; }
    Q_INVOKABLE void adViewWillDismissScreen(QObject *) { events << "willDismiss"; }
    Q_INVOKABLE void adViewDidDismissScreen(QObject *) { events << "didDismiss"; }
    Q_INVOKABLE void adViewWillLeaveApplication(QObject *) { events << "willLeave"; }
};

// A game screen in a window with a banner showing one house creative.
struct Stage
{
    explicit Stage(const QString &creative) : server({"--www", AdServerProcess::siteServing(dir, creative)})
    {
        TSKNetworkConfiguration::setStaticContentHost(server.host());
        TSKNetworkConfiguration::setAdServerHost(server.host());
        Application::shared()->setStatusBarHidden(false);
        window.addSubview(screen.view());
        window.makeKeyAndVisible();
        banner = new TSKBannerView(QRectF(0, 430, 320, 50), screen.view());
        banner->setAdUnitID("a1f3c29b07d5e64");
        banner->setRootViewController(&screen);
        banner->setDelegate(&recorder);
        banner->show();
        banner->loadRequest(TSKRequest::request().get());
    }

    TSKObjectPrivate *loader() const { return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(banner); }
    bool shown() { return waitUntil([&] { return recorder.events.contains("receive"); }); }
    // A player's tap: the press the library sees, and the click the page sees.
    void tap()
    {
        press(banner->webView());
        banner->webView()->evaluateJavaScript("document.getElementById('ad').click();");
    }
    static void press(WebView *view)
    {
        QMouseEvent event(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::LeftButton, Qt::LeftButton, {});
        QCoreApplication::sendEvent(view, &event);
    }
    template <class Screen>
    Screen *presented(ViewController *over)
    {
        waitUntil([&] { return qobject_cast<Screen *>(over->modalViewController()) && !over->isTransitioning(); });
        return qobject_cast<Screen *>(over->modalViewController());
    }
    bool loaded(WebView *view, const QString &path)
    {
        return waitUntil([&] { return view->requestURL().path() == path && !view->isLoading(); });
    }
    QString lastAdQuery(const QString &key)
    {
        const QList<QJsonObject> ads = server.requestsTo("/ad");
        return ads.isEmpty() ? QString() : ads.last()["query"].toObject()[key].toString();
    }

    QTemporaryDir dir;
    AdServerProcess server;
    Window window;
    ViewController screen;
    TSKBannerView *banner = nullptr;
    Recorder recorder;
};

// Animations move only when the test says, so a point of one can be hit exactly.
class SteppedAnimations : public QAnimationDriver
{
public:
    SteppedAnimations() { install(); }
    ~SteppedAnimations() override { uninstall(); }
    void advanceBy(int milliseconds)
    {
        QCoreApplication::processEvents();
        now_ += milliseconds;
        advance();
    }
    qint64 elapsed() const override { return now_; }

private:
    qint64 now_ = 0;
};

QString inPage(WebView *view, const QString &script)
{
    return testsupport::evaluateInPage(view->page(), script).toString();
}

}  // namespace

class TestFullScreen : public QObject
{
    Q_OBJECT
private slots:
    void init() { Application::shared()->updateState(Application::Active); }

    // The banner under its own browser waits, then goes dormant; the browser,
    // presented from it, still works and closes, and the banner then loads anew.
    void landingPageInTheBrowserAndBack()
    {
        Stage stage("landing");
        QVERIFY(stage.shown());
        stage.tap();
        auto *browser = stage.presented<TSKBrowserController>(&stage.screen);
        QVERIFY(browser);
        QVERIFY(Application::shared()->isStatusBarHidden());
        QVERIFY(!stage.loader()->reloadTimer());  // every banner waits while an ad covers the game
        QVERIFY(waitUntil([&] { return stage.loader()->dormancyTimer(); }));
        stage.loader()->dormancyTimer()->fire();
        QVERIFY(!stage.banner->webView());
        QVERIFY(stage.loaded(browser->webView(), "/landing/index.html"));

        const auto action = [&](const char *name) { return browser->toolbar()->findChild<QAction *>(name); };
        QVERIFY(action("Reload")->isVisible() && action("Open in Browser")->isEnabled());
        QVERIFY(!action("Back")->isEnabled());
        browser->webView()->evaluateJavaScript("document.querySelector('a[href=\"scores.html\"]').click();");
        QVERIFY(stage.loaded(browser->webView(), "/landing/scores.html"));
        QVERIFY(action("Back")->isEnabled());

        action("Done")->trigger();
        // The banner is in sight again while the browser slides away; its ad
        // request tells the network about the click and the visit.
        QVERIFY(waitUntil([&] { return stage.recorder.events.count("receive") == 2; }));
        QVERIFY(waitUntil([&] { return stage.recorder.events.contains("didDismiss"); }));
        QCOMPARE(stage.recorder.events.size(), 5);
        QCOMPARE(stage.server.requestsTo("/ad").size(), 2);
        QCOMPARE(stage.lastAdQuery("pcc"), "1");
        QCOMPARE(stage.lastAdQuery("plpnc"), "1");
        QVERIFY(stage.lastAdQuery("plpl").toInt() > 0);
        QVERIFY(stage.lastAdQuery("plpd").toInt() > 0);
    }

    // Done pressed at any point of the browser's opening closes it with each
    // callback once and gives everything back: the screen, the status bar,
    // every banner's reloads. The appearance that was still on its way (or
    // the late one that stands in for it) must not undo the closing.
    void doneAtAnyPointOfTheOpening_data()
    {
        QTest::addColumn<int>("openedMs");
        QTest::addColumn<bool>("standInAppearance");
        QTest::newRow("before it starts") << -1 << false;
        for (const int ms : {1, 100, 200, 300, 399})
            QTest::newRow(qPrintable(QString("at %1 ms").arg(ms))) << ms << false;
        QTest::newRow("during, after the stand-in appearance") << 200 << true;
        QTest::newRow("right at its end") << ModalTransition::kDurationMs << false;
        QTest::newRow("after") << ModalTransition::kDurationMs << true;
    }
    void doneAtAnyPointOfTheOpening()
    {
        QFETCH(int, openedMs);
        QFETCH(bool, standInAppearance);
        Stage stage("landing");
        QVERIFY(stage.shown());
        SteppedAnimations animations;
        TSKOpener opener;
        opener.setViewController(&stage.screen);
        opener.setDelegateManager(stage.loader()->delegateManager());
        opener.openBrowserToURLSupportedOrientations(QUrl("http://" + stage.server.host() + "/landing/story.html"), 0);
        QPointer<TSKBrowserController> browser = qobject_cast<TSKBrowserController *>(stage.screen.modalViewController());
        QVERIFY(browser);
        if (openedMs >= 0) {
            animations.advanceBy(0);  // its first frame
            animations.advanceBy(openedMs);
        }
        if (standInAppearance)
            QVERIFY(waitUntil([&] { return DelayedPerform::pendingCount(browser) == 0; }));
        else
            DelayedPerform::cancelPreviousPerformRequests(browser);
        QCOMPARE(browser->view()->isEnabled(), openedMs == ModalTransition::kDurationMs || standInAppearance);

        browser->toolbar()->findChild<QAction *>("Done")->trigger();
        browser->relinquishScreen();  // a second close, from the page, changes nothing
        for (int frames = 0; frames < 10 && stage.screen.modalViewController(); ++frames)
            animations.advanceBy(100);
        QVERIFY(!stage.screen.modalViewController() && stage.screen.view()->isVisible());
        QVERIFY(waitUntil([&] { return !browser && stage.loader()->reloadTimer(); }));
        QCOMPARE(stage.recorder.events, QStringList({"receive", "willPresent", "willDismiss", "didDismiss"}));
        QVERIFY(!Application::shared()->isStatusBarHidden());
    }

    // An ad screen that cannot come up (its banner's screen is busy
    // presenting another) announces nothing; one that goes without closing
    // (with its presenter) still gives the banners their reloads back.
    void everyPauseOfTheBannersEnds()
    {
        Stage stage("landing");
        QVERIFY(stage.shown());
        QObject observer;
        int screensUp = 0;
        NotificationCenter *center = NotificationCenter::defaultCenter();
        center->addObserver(&observer, TSKFullScreen::WillPresentNotification, nullptr, [&](const Notification &) { ++screensUp; });
        center->addObserver(&observer, TSKFullScreen::DidRelinquishNotification, nullptr, [&](const Notification &) { --screensUp; });
        const QUrl story("http://" + stage.server.host() + "/landing/story.html");
        TSKOpener opener;
        opener.setDelegateManager(stage.loader()->delegateManager());

        stage.screen.presentModalViewController(new ViewController, false);
        opener.setViewController(&stage.screen);
        opener.openBrowserToURLSupportedOrientations(story, 0);
        QVERIFY(!qobject_cast<TSKBrowserController *>(stage.screen.modalViewController()));
        QCOMPARE(screensUp, 0);
        QCOMPARE(stage.recorder.events, QStringList{"receive"});
        QVERIFY(!Application::shared()->isStatusBarHidden());

        auto *presenter = new ViewController;
        stage.window.addSubview(presenter->view());
        opener.setViewController(presenter);
        opener.openBrowserToURLSupportedOrientations(story, 0);
        QVERIFY(qobject_cast<TSKBrowserController *>(presenter->modalViewController()));
        QCOMPARE(screensUp, 1);
        delete presenter;
        QCOMPARE(screensUp, 0);
    }

    void clubWebAppShowsHidesAndCloses()
    {
        Stage stage("club");
        QVERIFY(stage.shown());
        stage.tap();
        auto *club = stage.presented<TSKWebAppViewController>(&stage.screen);
        QVERIFY(club);
        QVERIFY(stage.loaded(club->webView(), "/webapp/index.html"));
        const auto status = [club] { return inPage(club->webView(), "document.getElementById('status').textContent"); };
        QVERIFY(waitUntil([&] { return status() == "Welcome! (" + TSKRequest::sdkVersion() + ")"; }));
        QVERIFY(club->shouldAutorotateToInterfaceOrientation(ViewController::Portrait));
        QVERIFY(!club->shouldAutorotateToInterfaceOrientation(ViewController::LandscapeLeft));
        inPage(club->webView(), "window.shows = 0; var seen = TISKOS_ReceiveMessage;"
                                "TISKOS_ReceiveMessage = function (n, i) { if (n === 'onshow') shows++; seen(n, i); }; 1");

        // A browser opened from the web app is no new full-screen period; the page hears it is hidden.
        testsupport::StderrCapture log;
        const QString story = "http://" + stage.server.host() + "/landing/story.html";
        Stage::press(club->webView());
        club->webView()->evaluateJavaScript(
            QString("location.href = 'tsmsg:///open?a=browser&u=%1';").arg(QString(QUrl::toPercentEncoding(story))));
        auto *browser = stage.presented<TSKBrowserController>(club);
        QVERIFY(browser);
        QVERIFY(stage.loaded(browser->webView(), "/landing/story.html"));
        QVERIFY(waitUntil([&] { return status() == "Paused" && log.text().contains("Velmora club page hidden"); }));
        browser->toolbar()->findChild<QAction *>("Done")->trigger();
        QVERIFY(waitUntil([&] { return !club->modalViewController() && inPage(club->webView(), "String(shows)") == "1"; }));
        QCOMPARE(stage.recorder.events, QStringList({"receive", "willPresent"}));

        club->webView()->evaluateJavaScript("document.getElementById('close').click();");
        QVERIFY(waitUntil([&] { return stage.recorder.events.contains("didDismiss"); }));
        QCOMPARE(stage.recorder.events, QStringList({"receive", "willPresent", "willDismiss", "didDismiss"}));
    }

    void tipsShowInlineAndCloseByButton()
    {
        Stage stage("tips");
        QVERIFY(stage.shown());
        stage.tap();
        auto *tips = stage.presented<TSKWebAppViewController>(&stage.screen);
        QVERIFY(tips);
        QVERIFY(waitUntil([&] { return !tips->webView()->isLoading() && tips->webView()->requestURL() == QUrl("about:blank"); }));
        auto *close = tips->view()->findChild<QPushButton *>("closeButton");
        QCOMPARE(close->geometry(), QRect(4, 4, 25, 25));
        QVERIFY(close->isEnabled() && tips->view()->isEnabled());
        close->click();
        QVERIFY2(waitUntil([&] { return stage.recorder.events.contains("didDismiss"); }), qPrintable(stage.recorder.events.join(',')));
    }

    // The screens drawn in Qt Quick keep the same rules: Done at any point of
    // the opening gives each event once, a screen whose place is taken (by
    // the mail form, which announces nothing) is refused unannounced, and one
    // gone with its window ends the pause.
    void quickScreensKeepTheRules()
    {
        QObject observer;
        int screensUp = 0;
        NotificationCenter *center = NotificationCenter::defaultCenter();
        center->addObserver(&observer, TSKFullScreen::WillPresentNotification, nullptr, [&](const Notification &) { ++screensUp; });
        center->addObserver(&observer, TSKFullScreen::DidRelinquishNotification, nullptr, [&](const Notification &) { --screensUp; });
        QQmlEngine engine;
        bool webReady = false;
        QuickWebView::whenReady(&engine, &engine, [&] { webReady = true; });
        QVERIFY(waitUntil([&] { return webReady; }));
        auto window = std::make_unique<QQuickWindow>();
        window->resize(320, 480);
        window->show();
        QQmlComponent component(&engine);
        component.setData("import QtQuick\nItem {}", QUrl());
        std::unique_ptr<QQuickItem> banner(qobject_cast<QQuickItem *>(component.create()));
        banner->setParentItem(window->contentItem());
        Recorder recorder;
        TSKQuickPresenter presenter(banner.get());
        TSKOpener opener;
        opener.setPresenter(&presenter);
        opener.setDelegateManager(std::make_shared<TSKDelegateManager>());
        opener.delegateManager()->addDelegate(&recorder, banner.get());
        const auto screen = [&] { return window->contentItem()->findChild<TSKQuickScreen *>(); };
        const QUrl page("about:blank");

        for (const int openedMs : {0, 200, ModalTransition::kDurationMs}) {
            SteppedAnimations animations;
            opener.openBrowserToURLSupportedOrientations(page, 0);
            animations.advanceBy(0);
            animations.advanceBy(openedMs);
            QPointer<TSKQuickScreen> browser = screen();
            QVERIFY(browser && !browser->isClosing());
            QMetaObject::invokeMethod(browser->findChild<QQuickItem *>("Done"), "tapped");
            browser->relinquishScreen();  // a second close, from the page, changes nothing
            for (int frames = 0; frames < 10 && browser; ++frames) {
                animations.advanceBy(100);
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            }
            QVERIFY(!browser);
            QCOMPARE(recorder.events, QStringList({"willPresent", "willDismiss", "didDismiss"}));
            QCOMPARE(screensUp, 0);
            recorder.events.clear();
        }

        opener.openEmailComposer(QUrl("mailto:club@velmora.example?subject=Hi"));
        QVERIFY(screen() && screen()->objectName() == "mailForm");
        opener.openBrowserToURLSupportedOrientations(page, 0);
        opener.openWebAppWithHTMLSupportedOrientations("<p>hi</p>", 0);
        QCOMPARE(window->contentItem()->findChildren<TSKQuickScreen *>().size(), 1);
        QCOMPARE(screensUp, 0);
        QVERIFY(recorder.events.isEmpty());
        delete screen();

        opener.openWebAppWithHTMLSupportedOrientations("<p>hi</p>", 0);
        QCOMPARE(screensUp, 1);
        window.reset();
        QCOMPARE(screensUp, 0);
        QCOMPARE(recorder.events, QStringList{"willPresent"});
    }

    void mailComposerTakesTheLinksFields()
    {
        QList<QUrl> opened;
        Application::shared()->setUrlOpener([&](const QUrl &url) { opened << url; return true; });
        Window window;
        ViewController screen;
        window.addSubview(screen.view());
        TSKOpener opener;
        opener.setViewController(&screen);
        opener.openEmailComposer(QUrl("mailto:club@velmora.example?cc=a@b.test,c@d.test&subject=Hi%20there&body=Beat%20this"));
        auto *composer = qobject_cast<MailComposeViewController *>(screen.modalViewController());
        QVERIFY(composer);
        QCOMPARE(composer->toRecipients(), QStringList{"club@velmora.example"});
        QCOMPARE(composer->ccRecipients(), QStringList({"a@b.test", "c@d.test"}));
        QCOMPARE(composer->subject(), "Hi there");
        QCOMPARE(composer->messageBody(), "Beat this");
        composer->view()->findChild<QLineEdit *>("bcc")->setText("e@f.test");
        composer->view()->findChild<QPushButton *>("send")->click();
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().scheme(), "mailto");
        QCOMPARE(opened.first().path(), "club@velmora.example");
        QVERIFY(opened.first().query(QUrl::FullyDecoded).contains("bcc=e@f.test"));
        QVERIFY(waitUntil([&] { return !screen.modalViewController(); }));

        opener.openEmailComposer(QUrl("mailto:solo@velmora.example"));
        composer = qobject_cast<MailComposeViewController *>(screen.modalViewController());
        QCOMPARE(composer->toRecipients(), QStringList{"solo@velmora.example"});
        QVERIFY(composer->ccRecipients().isEmpty() && composer->subject().isEmpty());
        composer->cancel();
        QVERIFY(waitUntil([&] { return !screen.modalViewController(); }));
        QCOMPARE(opened.size(), 1);
        Application::shared()->setUrlOpener({});
    }

    void applicationLinkLeavesAfterTheTracker()
    {
        QList<QUrl> opened;
        Application::shared()->setUrlOpener([&](const QUrl &url) { opened << url; return true; });
        Stage stage("app");
        QVERIFY(stage.shown());
        stage.tap();
        QVERIFY(waitUntil([&] { return !opened.isEmpty(); }));
        QCOMPARE(opened.first().path(), "/click/app");
        QCOMPARE(stage.recorder.events, QStringList({"receive", "willLeave"}));
        QVERIFY(waitUntil([&] { return !stage.server.requestsTo("/track/click").isEmpty(); }));
        Application::shared()->setUrlOpener({});
    }
};

VELMORA_TEST_MAIN_WITH(TestFullScreen, [] { TSKBannerView::registerSchemes({QStringLiteral("velmora-arcade")}); })
#include "tst_fullscreen.moc"
