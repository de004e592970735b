#include "Application.h"
#include "DelayedPerform.h"
#include "NotificationCenter.h"
#include "ScreenStack.h"
#include "TestMain.h"
#include "Timer.h"
#include "ViewController.h"
#include "Window.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>

using namespace Velmora::Platform;

using App = Application;

namespace {

// Delegate and notification calls of the launch, in order.
QStringList launchLog;
QStringList testArguments;

// Logs lifecycle calls and touches as "<name>.<call>", a star marking "animated".
struct Screen : ViewController
{
    Screen(QString name, QStringList *log) : name(std::move(name)), log(log) {}
    void viewDidLoad() override { note("load", false); }
    void viewWillAppear(bool animated) override { note("willAppear", animated); }
    void viewDidAppear(bool animated) override { note("didAppear", animated); }
    void viewWillDisappear(bool animated) override { note("willDisappear", animated); }
    void viewDidDisappear(bool animated) override { note("didDisappear", animated); }
    void touchesBegan(const QList<TouchPoint> &t, const TouchEvent &) override { touch("began", t.first()); }
    void touchesMoved(const QList<TouchPoint> &t, const TouchEvent &) override { touch("moved", t.first()); }
    void touchesEnded(const QList<TouchPoint> &t, const TouchEvent &) override { touch("ended", t.first()); }
    void note(const QString &call, bool animated) { *log << name + "." + call + (animated ? "*" : ""); }
    void touch(const QString &call, const TouchPoint &t)
    {
        const QPointF at = t.locationInView(t.view());
        *log << QStringLiteral("%1.%2 %3,%4").arg(name, call).arg(at.x()).arg(at.y());
    }

    QString name;
    QStringList *log;
};

}  // namespace

// The application object, its window and the screens presented in it, run
// through the program's own entry point at scale 2 (see main below).
class TestApplication : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        App::shared()->setStatusBarHidden(true);
        window = std::make_unique<Window>();
        root = new Screen("root", &log);
        window->setRootViewController(root);
        window->makeKeyAndVisible();
        log.clear();
    }

    void cleanup()
    {
        delete root;
        window.reset();
    }

    // Each change posts every step it passes, while the state it speaks of is
    // (still) current: 0 active, 2 background. A window the player can see is
    // watched, focused or not; only when every window is minimised or hidden
    // does the program go to the background.
    void stateFollowsVisibleWindowsAndPostsEachStep()
    {
        App *app = App::shared();
        QStringList seen;
        QObject observer;
        NotificationCenter::defaultCenter()->addObserver(&observer, QString(), app, [&seen, app](const Notification &n) {
            seen << QString(n.name()).remove("Application").remove("Notification") + QString::number(app->applicationState());
        });
        app->updateState(App::Active);
        seen.clear();
        for (App::State state : {App::Active, App::Inactive, App::Active, App::Background, App::Active,
                                 App::Background, App::Inactive})
            app->updateState(state);
        QCOMPARE(seen, QStringList({"WillResignActive0", "DidBecomeActive0", "WillResignActive0",
                                    "DidEnterBackground2", "WillEnterForeground2", "DidBecomeActive0",
                                    "WillResignActive0", "DidEnterBackground2", "WillEnterForeground2"}));
        QCOMPARE(app->applicationState(), App::Inactive);

        window->hide();
        QWidget game, other;
        game.show();
        QTRY_COMPARE(app->applicationState(), App::Active);
        seen.clear();
        other.show();
        other.activateWindow();
        QTest::qWait(50);
        QCOMPARE(app->applicationState(), App::Active);
        other.hide();
        game.showMinimized();
        QTRY_COMPARE(app->applicationState(), App::Background);
        game.showNormal();
        QTRY_COMPARE(app->applicationState(), App::Active);
        game.hide();
        QTRY_COMPARE(app->applicationState(), App::Background);
        QCOMPARE(seen, QStringList({"WillResignActive0", "DidEnterBackground2", "WillEnterForeground2",
                                    "DidBecomeActive0", "WillResignActive0", "DidEnterBackground2"}));
        game.show();
        QTRY_COMPARE(app->applicationState(), App::Active);
    }

    void urlsGoToTheInstalledOpener()
    {
        QList<QUrl> opened;
        App::shared()->setUrlOpener([&opened](const QUrl &url) { opened << url; return url.scheme() == "http"; });
        const auto open = [](const char *url) { return App::shared()->openURL(QUrl(url)); };
        const QList<bool> results{open("http://example.test/landing"), open("mailto:someone@example.test"), open(""),
                                  open("file:///bin/sh"), open("velmora-arcade://play"), open("HTTPS://example.test/")};
        // Only the program's own application links join the web and mail.
        App::allowApplicationLinkSchemes({"Velmora-Arcade"});
        open("velmora-arcade://play");
        App::shared()->setUrlOpener({});
        QCOMPARE(results, QList<bool>({true, false, false, false, false, false}));
        // Empty, local and unregistered URLs never reach the opener.
        QCOMPARE(opened, QList<QUrl>({QUrl("http://example.test/landing"), QUrl("mailto:someone@example.test"),
                                      QUrl("HTTPS://example.test/"), QUrl("velmora-arcade://play")}));
    }

    // Launched with --scale 2 (see main below), the screen is 320 by 480 points.
    void scaleComesFromTheCommandLineOrTheDesktop()
    {
        QCOMPARE(App::scaleOption({"velmora", "--scale", "3"}), std::optional<int>(3));
        QCOMPARE(App::scaleOption({"velmora", "--screenshot", "dir", "--scale=2"}), std::optional<int>(2));
        for (const QStringList &bad : QList<QStringList>{{"--screenshot", "dir"}, {"--scale", "0"}, {"--scale", "x"},
                                                         {"--scale", "1.5"}, {"--scale", "17"}, {"--scale"}})
            QCOMPARE(App::scaleOption(QStringList{"velmora"} + bad), std::nullopt);
        const auto fitting = &Window::largestFittingScale;
        QCOMPARE((QList<int>{fitting({1920, 1050}), fitting({1280, 1440}), fitting({300, 200})}), QList<int>({2, 3, 1}));

        QCOMPARE(launchLog, QStringList({"delegate", App::DidFinishLaunchingNotification}));
        QVERIFY(QCoreApplication::arguments().contains("--screenshot"));  // left for the program
        QCOMPARE(App::shared()->keyWindow(), window.get());
        QCOMPARE(root->view()->geometry(), QRect(0, 0, 320, 480));
        root->view()->setStyleSheet("background: rgb(0, 128, 255);");
        root->view()->setAttribute(Qt::WA_StyledBackground);
        QImage shot = window->grabScreen();
        QCOMPARE(shot.size(), QSize(640, 960));
        QCOMPARE(shot.devicePixelRatio(), 2.0);
        QCOMPARE(shot.pixelColor(5, 5), QColor(0, 128, 255));
        App::shared()->setStatusBarHidden(false);
        shot = window->grabScreen();
        QCOMPARE(shot.pixelColor(5, 5), QColor(Qt::black));  // the bar covers the top 20 points
        QCOMPARE(shot.pixelColor(5, 45), QColor(0, 128, 255));
    }

    void presentingStacksAndCoveredScreensStayAlive()
    {
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        auto *name = new QLineEdit(root->view());
        auto *start = new QPushButton("start", root->view());
        start->setGeometry(10, 20, 80, 30);
        name->show();
        start->show();
        auto *a = new Screen("a", &log);
        auto *b = new Screen("b", &log);
        QVERIFY(!a->isViewLoaded());
        root->presentModalViewController(a, false);
        QCOMPARE(log, QStringList({"a.load", "root.willDisappear", "a.willAppear", "root.didDisappear", "a.didAppear"}));
        QVERIFY(root->modalViewController() == a && a->parentViewController() == root);
        QCOMPARE(a->view()->parentWidget(), window->contentView());
        a->presentModalViewController(b, false);
        QVERIFY(root->view()->isHidden() && a->view()->isHidden());  // covered, not destroyed
        // Held outside the window, out of the way of Qt's walks over its widgets.
        QVERIFY(root->view()->window() != window.get() && a->view()->window() != window.get());
        QCOMPARE(ScreenStack::topOf(root), b);
        int ticks = 0;
        Timer::schedule(0.001, a, [&ticks](Timer *) { ++ticks; }, {}, true);
        QTRY_VERIFY_WITH_TIMEOUT(ticks >= 3, 10000);  // and their timers keep running

        auto *done = new QPushButton("done", b->view());
        done->show();
        done->setFocus();
        QPointer<Screen> watchA(a), watchB(b);
        log.clear();
        root->dismissModalViewControllerAnimated(false);
        // The covered middle screen is not shown on the way out; the presentation owned both.
        QCOMPARE(log, QStringList({"b.willDisappear", "root.willAppear", "b.didDisappear", "root.didAppear"}));
        QVERIFY(!root->modalViewController() && root->view()->isVisible());
        QCOMPARE(ScreenStack::topOf(root), root);
        // Back in the window as it left it: its children, geometry and tab
        // order, and the focus leaving the dismissed screen finds it.
        QCOMPARE(root->view()->parentWidget(), window->contentView());
        QCOMPARE(root->view()->geometry(), QRect(0, 0, 320, 480));
        QCOMPARE(start->geometry(), QRect(10, 20, 80, 30));
        QVERIFY(start->isVisible() && name->nextInFocusChain() == start);
        QVERIFY(root->view()->isAncestorOf(QApplication::focusWidget()));
        QTRY_VERIFY_WITH_TIMEOUT(watchA.isNull() && watchB.isNull(), 10000);
    }

    // A controller already presenting ignores a second presentation.
    void animatedTransitionsDeferTheClosingCalls()
    {
        for (ViewController::TransitionStyle style : {ViewController::CoverVertical, ViewController::FlipHorizontal,
                          ViewController::CrossDissolve}) {
            auto *modal = new Screen("modal", &log);
            modal->setModalTransitionStyle(style);
            log.clear();
            root->presentModalViewController(modal, true);
            QCOMPARE(log, QStringList({"modal.load", "root.willDisappear*", "modal.willAppear*"}));
            QVERIFY(!root->view()->isHidden());  // still under the animation
            Screen second("second", &log);
            if (style == ViewController::CrossDissolve) {
                root->presentModalViewController(&second, true);  // ignored; the first goes on
                QVERIFY(!second.parentViewController() && !second.isViewLoaded());
                QVERIFY(root->isTransitioning());
            }
            root->finishTransition();
            QCOMPARE(root->modalViewController(), modal);
            QCOMPARE(log.mid(3), QStringList({"root.didDisappear*", "modal.didAppear*"}));
            QVERIFY(root->view()->isHidden());

            log.clear();
            ViewController *dismissing = style == ViewController::FlipHorizontal ? modal : root;  // either may dismiss
            dismissing->dismissModalViewControllerAnimated(true);
            QCOMPARE(log, QStringList({"modal.willDisappear*", "root.willAppear*"}));
            QSignalSpy finished(root, &ViewController::transitionFinished);
            QVERIFY(finished.wait(10000));  // ends by itself too
            QCOMPARE(log.mid(2), QStringList({"modal.didDisappear*", "root.didAppear*"}));
        }
    }

    void mouseAndTouchesOnTheViewBecomeTouchesInPoints()
    {
        auto *label = new QLabel("label", root->view());
        label->setGeometry(100, 100, 50, 50);
        auto *button = new QPushButton("button", root->view());
        button->setGeometry(0, 0, 60, 30);

        QTest::mousePress(label, Qt::LeftButton, {}, QPoint(10, 20));  // labels pass it on
        QMouseEvent drag(QEvent::MouseMove, QPointF(40, 50), label->mapToGlobal(QPointF(40, 50)),
                         Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(label, &drag);
        QTest::mouseRelease(label, Qt::LeftButton, {}, QPoint(40, 50));
        QTest::mouseClick(button, Qt::LeftButton);  // buttons keep theirs

        const std::unique_ptr<QPointingDevice> device(QTest::createTouchDevice());
        QTest::touchEvent(window.get(), device.get()).press(0, QPoint(30, 40), window.get());
        QTest::touchEvent(window.get(), device.get()).move(0, QPoint(35, 45), window.get());
        QTest::touchEvent(window.get(), device.get()).release(0, QPoint(35, 45), window.get());

        QCOMPARE(log, QStringList({"root.began 110,120", "root.moved 140,150", "root.ended 140,150",
                                   "root.began 30,40", "root.moved 35,45", "root.ended 35,45"}));
    }

    // Repaints asked for faster than the display shows them are painted
    // together: whatever changed last is painted, and later changes still are.
    void aWindowPaintsItsLatestStateHoweverFastItChanges()
    {
        struct Counter : QWidget
        {
            using QWidget::QWidget;
            void paintEvent(QPaintEvent *) override { painted = value; }
            int value = 0;
            int painted = -1;
        };
        auto *counter = new Counter(root->view());
        counter->setGeometry(0, 0, 40, 40);
        counter->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        for (int burst = 1; burst <= 2; ++burst) {
            for (int i = 0; i < 50; ++i) {
                ++counter->value;
                counter->update();
                QCoreApplication::processEvents();
            }
            QTRY_COMPARE(counter->painted, counter->value);
        }
    }

private:
    QStringList log;
    std::unique_ptr<Window> window;
    Screen *root = nullptr;
};

namespace {

// Runs the tests once launching has finished, then quits with their result offset by 3.
struct Delegate : ApplicationDelegate
{
    bool applicationDidFinishLaunchingWithOptions(Application *application, const QVariantMap &) override
    {
        launchLog << "delegate";
        performAfterDelay(application, [] {
            TestApplication test;
            QCoreApplication::exit(QTest::qExec(&test, testArguments) + 3);
        }, 0);
        return true;
    }
};

}  // namespace

// The whole entry path, as the program takes it: Application::main creates the QApplication itself.
int main(int argc, char **argv)
{
    testsupport::prepareEnvironment();
    // Scale 2 must fit the desktop, and the offscreen one is 800 by 800 unless configured.
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen") {
        QFile config(QDir(qEnvironmentVariable("HOME")).filePath("screens.json"));
        if (config.open(QIODevice::WriteOnly))
            config.write(R"({"screens": [{"name": "desktop", "x": 0, "y": 0, "width": 1280, "height": 1024,
                                         "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + config.fileName().toUtf8());
    }
    QObject observer;
    for (const QString &name : {App::DidFinishLaunchingNotification, App::WillTerminateNotification})
        NotificationCenter::defaultCenter()->addObserver(&observer, name, nullptr,
                                                         [](const Notification &n) { launchLog << n.name(); });
    char scale[] = "--scale", two[] = "2", screenshot[] = "--screenshot", dir[] = "shots";
    char *arguments[] = {argv[0], scale, two, screenshot, dir, nullptr};
    testArguments = QStringList(argv, argv + argc);  // the test's own options, not the program's
    const int status = App::main(5, arguments, [] { return std::make_unique<Delegate>(); }) - 3;
    if (status < 0 || launchLog.isEmpty() || launchLog.last() != App::WillTerminateNotification)
        qFatal("FAIL: exit status not passed through, or no will-terminate notification");
    return status;
}

#include "tst_application.moc"
