#include "TestMain.h"
#include "Application.h"
#include "ViewController.h"
#include "Window.h"

namespace {

class Tracker : public ViewController
{
public:
    QList<QPointF> began;
    void touchesBegan(const QList<TouchPoint> &touches, const TouchEvent &) override
    {
        began.append(touches.first().locationInView(view()));
        began.append(touches.first().locationInView(nullptr));
    }
};

}  // namespace

// Runs at twice the device pixel ratio, the way --scale 2 runs the program.
class TestWindow : public QObject
{
    Q_OBJECT
private slots:
    void screenIsInPointsAndGrabbedAtTheScale()
    {
        Application::shared()->setStatusBarHidden(true);
        Window window;
        Tracker controller;
        controller.view()->setStyleSheet("background: rgb(0, 128, 255);");
        controller.view()->setAttribute(Qt::WA_StyledBackground);
        window.setRootViewController(&controller);
        window.makeKeyAndVisible();
        QCOMPARE(window.size(), QSize(320, 480));
        QCOMPARE(controller.view()->geometry(), QRect(0, 0, 320, 480));

        QImage shot = window.grabScreen();
        QCOMPARE(shot.size(), QSize(640, 960));
        QCOMPARE(shot.devicePixelRatio(), 2.0);
        QCOMPARE(shot.pixelColor(5, 5), QColor(0, 128, 255));

        Application::shared()->setStatusBarHidden(false);
        shot = window.grabScreen();
        QCOMPARE(shot.pixelColor(5, 5), QColor(Qt::black));  // the bar covers the top 20 points
        QCOMPARE(shot.pixelColor(5, 45), QColor(0, 128, 255));
        Application::shared()->setStatusBarHidden(true);

        // Touch locations are points, not device pixels.
        auto *child = new QWidget(controller.view());
        child->setGeometry(300, 460, 20, 20);
        QTest::mousePress(child, Qt::LeftButton, {}, QPoint(19, 19));
        QCOMPARE(controller.began, QList<QPointF>({QPointF(319, 479), QPointF(319, 479)}));
        window.setRootViewController(nullptr);
    }

    void viewsAddedLaterGoOnTop()
    {
        Window window;
        auto *first = new QWidget;
        auto *second = new QWidget;
        window.addSubview(first);
        window.addSubview(second);
        QCOMPARE(first->parentWidget(), window.contentView());
        QCOMPARE(window.contentView()->children().last(), second);
        QVERIFY(second->isVisibleTo(&window));
    }
};

VELMORA_TEST_MAIN_WITH(TestWindow, [] { qputenv("QT_SCALE_FACTOR", "2"); })
#include "tst_window.moc"
