#include "Application.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "Window.h"

#include <QTimer>

namespace {

using App = Application;

class RecordingDelegate : public ApplicationDelegate
{
public:
    explicit RecordingDelegate(QStringList *log) : log_(log) {}
    bool applicationDidFinishLaunchingWithOptions(Application *, const QVariantMap &options) override
    {
        log_->append(options.isEmpty() ? "delegate launched" : "delegate got options");
        return true;
    }

private:
    QStringList *log_;
};

}  // namespace

class TestApplication : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        log.clear();
        states.clear();
        const QStringList names = {App::DidFinishLaunchingNotification, App::WillResignActiveNotification,
                                   App::DidBecomeActiveNotification, App::DidEnterBackgroundNotification,
                                   App::WillEnterForegroundNotification, App::WillTerminateNotification};
        for (const QString &name : names) {
            NotificationCenter::defaultCenter()->addObserver(
                &observer, name, App::shared(), [this](const Notification &n) {
                    log.append(QString(n.name()).remove("Application").remove("Notification"));
                    states.append(App::shared()->applicationState());
                });
        }
    }

    void cleanup() { NotificationCenter::defaultCenter()->removeObserver(&observer); }

    void launchNotifiesAfterTheDelegate()
    {
        RecordingDelegate delegate(&log);
        App::shared()->setDelegate(&delegate);
        App::shared()->finishLaunching();
        App::shared()->setDelegate(nullptr);
        QCOMPARE(log, QStringList({"delegate launched", "DidFinishLaunching"}));
    }

    void stateChangesPostEachStepPassed()
    {
        App *app = App::shared();
        app->updateState(Qt::ApplicationActive);
        log.clear();
        states.clear();

        app->updateState(Qt::ApplicationActive);  // no change, no news
        app->updateState(Qt::ApplicationInactive);
        app->updateState(Qt::ApplicationActive);
        QCOMPARE(log, QStringList({"WillResignActive", "DidBecomeActive"}));
        QCOMPARE(states, QList<int>({App::Active, App::Active}));

        log.clear();
        states.clear();
        app->updateState(Qt::ApplicationHidden);
        app->updateState(Qt::ApplicationActive);
        QCOMPARE(log, QStringList({"WillResignActive", "DidEnterBackground", "WillEnterForeground",
                                   "DidBecomeActive"}));
        // Each is posted while the state it speaks of is (still) current.
        QCOMPARE(states, QList<int>({App::Active, App::Background, App::Background, App::Active}));

        log.clear();
        app->updateState(Qt::ApplicationSuspended);
        QCOMPARE(app->applicationState(), App::Background);
        app->updateState(Qt::ApplicationInactive);
        QCOMPARE(log, QStringList({"WillResignActive", "DidEnterBackground", "WillEnterForeground"}));
        QCOMPARE(app->applicationState(), App::Inactive);
    }

    void urlsGoToTheInstalledOpener()
    {
        QList<QUrl> opened;
        App::shared()->setUrlOpener([&opened](const QUrl &url) {
            opened.append(url);
            return url.scheme() == "http";
        });
        QVERIFY(App::shared()->openURL(QUrl("http://example.test/landing")));
        QVERIFY(!App::shared()->openURL(QUrl("mailto:someone@example.test")));
        QVERIFY(!App::shared()->openURL(QUrl()));  // nothing to open, opener not bothered
        App::shared()->setUrlOpener({});
        QCOMPARE(opened, QList<QUrl>({QUrl("http://example.test/landing"), QUrl("mailto:someone@example.test")}));
    }

    void keyWindowCarriesTheStatusBar()
    {
        App *app = App::shared();
        app->setStatusBarHidden(true);
        Window window;
        QVERIFY(!app->keyWindow());
        window.makeKeyAndVisible();
        QCOMPARE(app->keyWindow(), &window);
        QVERIFY(!window.isStatusBarShown());
        app->setStatusBarHidden(false, true);
        QVERIFY(window.isStatusBarShown());
        QCOMPARE(app->statusBarOrientation(), 1);
        app->setStatusBarHidden(true);
        {
            Window gone;
            gone.makeKeyAndVisible();
        }
        QVERIFY(!app->keyWindow());
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
        QCOMPARE(Window::largestFittingScale({2560, 1440}), 3);
        QCOMPARE(Window::largestFittingScale({1280, 1440}), 3);
        QCOMPARE(Window::largestFittingScale({800, 600}), 1);
        QCOMPARE(Window::largestFittingScale({300, 200}), 1);  // never below 1
    }

    // Last: it runs the event loop to its end.
    void quittingPostsWillTerminate()
    {
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QCoreApplication::exec();
        QCOMPARE(log, QStringList({"WillTerminate"}));
    }

private:
    QObject observer;
    QStringList log;
    QList<int> states;
};

VELMORA_TEST_MAIN(TestApplication)
#include "tst_application.moc"
