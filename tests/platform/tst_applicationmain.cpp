#include "Application.h"
#include "DelayedPerform.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "Window.h"

// The whole entry path, as the program takes it: Application::main creates
// the QApplication itself, so it runs first and the checks run after it.
namespace {

struct Launch
{
    QStringList calls;
    QStringList arguments;
    qreal devicePixelRatio = 0;
    bool keyWindowSet = false;
    int status = -1;
} launch;

class Delegate : public ApplicationDelegate
{
public:
    bool applicationDidFinishLaunchingWithOptions(Application *application, const QVariantMap &) override
    {
        launch.calls << "delegate";
        window = std::make_unique<Window>();
        window->makeKeyAndVisible();
        launch.keyWindowSet = application->keyWindow() == window.get();
        launch.devicePixelRatio = window->devicePixelRatioF();
        launch.arguments = QCoreApplication::arguments();
        performAfterDelay(application, [] { QCoreApplication::exit(3); }, 0);
        return true;
    }
    std::unique_ptr<Window> window;
};

}  // namespace

class TestApplicationMain : public QObject
{
    Q_OBJECT
private slots:
    void launchesQuitsAndAppliesTheScale()
    {
        QCOMPARE(launch.calls, QStringList({"delegate", "DidFinishLaunching", "WillTerminate"}));
        QVERIFY(launch.keyWindowSet);
        QCOMPARE(launch.devicePixelRatio, 2.0);
        QVERIFY(launch.arguments.contains("--screenshot"));  // left for the program
        QCOMPARE(launch.status, 3);
    }
};

int main(int argc, char **argv)
{
    testsupport::prepareEnvironment();
    QObject observer;
    for (const QString &name : {Application::DidFinishLaunchingNotification, Application::WillTerminateNotification}) {
        NotificationCenter::defaultCenter()->addObserver(&observer, name, nullptr, [](const Notification &n) {
            launch.calls << QString(n.name()).remove("Application").remove("Notification");
        });
    }
    char scale[] = "--scale", two[] = "2", screenshot[] = "--screenshot", dir[] = "shots";
    char *arguments[] = {argv[0], scale, two, screenshot, dir, nullptr};
    launch.status = Application::main(5, arguments, [] { return std::make_unique<Delegate>(); });

    TestApplicationMain test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_applicationmain.moc"
