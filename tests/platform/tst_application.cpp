#include "Application.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "ViewController.h"
#include "Window.h"

using App = Application;

class TestApplication : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        log.clear();
        for (const QString &name : {App::WillResignActiveNotification, App::DidBecomeActiveNotification,
                                    App::DidEnterBackgroundNotification, App::WillEnterForegroundNotification}) {
            NotificationCenter::defaultCenter()->addObserver(&observer, name, App::shared(), [this](const Notification &n) {
                // Name without its affixes, and the state while it is posted.
                log << QString(n.name()).remove("Application").remove("Notification")
                           + QString::number(App::shared()->applicationState());
            });
        }
    }

    void cleanup() { NotificationCenter::defaultCenter()->removeObserver(&observer); }

    void stateChangesPostEachStepPassed()
    {
        App *app = App::shared();
        app->updateState(Qt::ApplicationActive);
        log.clear();
        app->updateState(Qt::ApplicationActive);  // no change, no news
        app->updateState(Qt::ApplicationInactive);
        app->updateState(Qt::ApplicationActive);
        app->updateState(Qt::ApplicationHidden);
        app->updateState(Qt::ApplicationActive);
        app->updateState(Qt::ApplicationSuspended);
        app->updateState(Qt::ApplicationInactive);
        // Each is posted while the state it speaks of is (still) current: 0 active, 2 background.
        QCOMPARE(log, QStringList({"WillResignActive0", "DidBecomeActive0", "WillResignActive0",
                                   "DidEnterBackground2", "WillEnterForeground2", "DidBecomeActive0",
                                   "WillResignActive0", "DidEnterBackground2", "WillEnterForeground2"}));
        QCOMPARE(app->applicationState(), App::Inactive);

        // Probing code sees the state and key window, and no background tasks.
        QVERIFY(app->metaObject()->indexOfMethod("applicationState()") >= 0);
        QVERIFY(app->metaObject()->indexOfMethod("keyWindow()") >= 0);
        QVERIFY(app->metaObject()->indexOfMethod("beginBackgroundTaskWithExpirationHandler(std::function<void()>)") < 0);
    }

    void urlsGoToTheInstalledOpener()
    {
        QList<QUrl> opened;
        App::shared()->setUrlOpener([&opened](const QUrl &url) { opened << url; return url.scheme() == "http"; });
        QVERIFY(App::shared()->openURL(QUrl("http://example.test/landing")));
        QVERIFY(!App::shared()->openURL(QUrl("mailto:someone@example.test")));
        QVERIFY(!App::shared()->openURL(QUrl()));  // nothing to open, opener not bothered
        App::shared()->setUrlOpener({});
        QCOMPARE(opened, QList<QUrl>({QUrl("http://example.test/landing"), QUrl("mailto:someone@example.test")}));
    }

    void scaleComesFromTheCommandLineOrTheDesktop()
    {
        QCOMPARE(App::scaleOption({"velmora", "--scale", "3"}), std::optional<int>(3));
        QCOMPARE(App::scaleOption({"velmora", "--screenshot", "dir", "--scale=2"}), std::optional<int>(2));
        QCOMPARE(App::scaleOption({"velmora", "--screenshot", "dir"}), std::nullopt);
        for (const char *bad : {"0", "x", "1.5", "17"})
            QCOMPARE(App::scaleOption({"velmora", "--scale", bad}), std::nullopt);
        QCOMPARE(App::scaleOption({"velmora", "--scale"}), std::nullopt);

        QCOMPARE(Window::largestFittingScale({1920, 1050}), 2);
        QCOMPARE(Window::largestFittingScale({1280, 1440}), 3);
        QCOMPARE(Window::largestFittingScale({300, 200}), 1);  // never below 1
    }

    void screenIsInPointsAndGrabbedAtTheScale()
    {
        struct Tracker : ViewController
        {
            QList<QPointF> began;
            void touchesBegan(const QList<TouchPoint> &touches, const TouchEvent &) override
            {
                began << touches.first().locationInView(view()) << touches.first().locationInView(nullptr);
            }
        } controller;
        Application *app = Application::shared();
        app->setStatusBarHidden(true);
        Window window;
        controller.view()->setStyleSheet("background: rgb(0, 128, 255);");
        controller.view()->setAttribute(Qt::WA_StyledBackground);
        window.setRootViewController(&controller);
        window.makeKeyAndVisible();
        QCOMPARE(app->keyWindow(), &window);
        QCOMPARE(controller.view()->geometry(), QRect(0, 0, 320, 480));

        QImage shot = window.grabScreen();
        QCOMPARE(shot.size(), QSize(640, 960));
        QCOMPARE(shot.devicePixelRatio(), 2.0);
        QCOMPARE(shot.pixelColor(5, 5), QColor(0, 128, 255));
        app->setStatusBarHidden(false);
        shot = window.grabScreen();
        QCOMPARE(shot.pixelColor(5, 5), QColor(Qt::black));  // the bar covers the top 20 points
        QCOMPARE(shot.pixelColor(5, 45), QColor(0, 128, 255));
        app->setStatusBarHidden(true);

        // Touch locations are points, not device pixels.
        auto *child = new QWidget(controller.view());
        child->setGeometry(300, 460, 20, 20);
        QTest::mousePress(child, Qt::LeftButton, {}, QPoint(19, 19));
        QCOMPARE(controller.began, QList<QPointF>({QPointF(319, 479), QPointF(319, 479)}));
        window.setRootViewController(nullptr);
    }

private:
    QObject observer;
    QStringList log;
};

// Twice the device pixel ratio, the way --scale 2 runs the program.
VELMORA_TEST_MAIN_WITH(TestApplication, [] { qputenv("QT_SCALE_FACTOR", "2"); })
#include "tst_application.moc"
