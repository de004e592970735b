#include "TestMain.h"
#include "ViewController.h"
#include "Window.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>

namespace {

// Logs every lifecycle call and touch as "<name>.<call>".
class Screen : public ViewController
{
public:
    Screen(QString name, QStringList *log) : name_(std::move(name)), log_(log) {}

    void viewDidLoad() override { note("load"); }
    void viewWillAppear(bool animated) override { note(animated ? "willAppear*" : "willAppear"); }
    void viewDidAppear(bool animated) override { note(animated ? "didAppear*" : "didAppear"); }
    void viewWillDisappear(bool animated) override { note(animated ? "willDisappear*" : "willDisappear"); }
    void viewDidDisappear(bool animated) override { note(animated ? "didDisappear*" : "didDisappear"); }
    void touchesBegan(const QList<TouchPoint> &t, const TouchEvent &e) override { touch("began", t, e); }
    void touchesMoved(const QList<TouchPoint> &t, const TouchEvent &e) override { touch("moved", t, e); }
    void touchesEnded(const QList<TouchPoint> &t, const TouchEvent &e) override { touch("ended", t, e); }

    QList<QPointF> touchLocations;

private:
    void note(const QString &call) { log_->append(name_ + "." + call); }
    void touch(const QString &call, const QList<TouchPoint> &touches, const TouchEvent &event)
    {
        note(call);
        QCOMPARE(event.allTouches().size(), 1);
        touchLocations.append(touches.first().locationInView(touches.first().view()));
    }

    QString name_;
    QStringList *log_;
};

}  // namespace

class TestViewController : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        log.clear();
        window = std::make_unique<Window>();
        root = new Screen("root", &log);
        window->setRootViewController(root);
        window->show();
    }

    void cleanup()
    {
        delete root;
        window.reset();
    }

    void viewLoadsOnceOnFirstAccess()
    {
        Screen screen("s", &log);
        QVERIFY(!screen.isViewLoaded());
        QWidget *view = screen.view();
        QCOMPARE(screen.view(), view);
        QCOMPARE(view->size(), QSize(320, 480));
        QCOMPARE(log, QStringList({"root.load", "s.load"}));
        QCOMPARE(screen.interfaceOrientation(), int(ViewController::Portrait));
        QVERIFY(screen.shouldAutorotateToInterfaceOrientation(ViewController::Portrait));
        QVERIFY(!screen.shouldAutorotateToInterfaceOrientation(ViewController::LandscapeLeft));
    }

    void presentAndDismissWithoutAnimation()
    {
        auto *modal = new Screen("modal", &log);
        log.clear();
        root->presentModalViewController(modal, false);
        QCOMPARE(log, QStringList({"modal.load", "root.willDisappear", "modal.willAppear",
                                   "root.didDisappear", "modal.didAppear"}));
        QCOMPARE(root->modalViewController(), modal);
        QCOMPARE(modal->parentViewController(), root);
        QCOMPARE(modal->parent(), root);  // the presentation keeps it alive
        QVERIFY(root->view()->isHidden());
        QVERIFY(modal->view()->isVisible());
        QCOMPARE(modal->view()->parentWidget(), window->contentView());

        log.clear();
        QPointer<Screen> watch(modal);
        modal->dismissModalViewControllerAnimated(false);  // on the presented one
        QCOMPARE(log, QStringList({"modal.willDisappear", "root.willAppear", "modal.didDisappear",
                                   "root.didAppear"}));
        QVERIFY(!root->modalViewController());
        QVERIFY(root->view()->isVisible());
        QTRY_VERIFY(watch.isNull());  // dismissed and owned: freed
    }

    void animatedTransitionsDeferTheClosingCalls()
    {
        auto *modal = new Screen("modal", &log);
        modal->setModalTransitionStyle(ViewController::FlipHorizontal);
        log.clear();
        root->presentModalViewController(modal, true);
        QCOMPARE(log, QStringList({"modal.load", "root.willDisappear*", "modal.willAppear*"}));
        QVERIFY(root->isTransitioning());
        QVERIFY(!root->view()->isHidden());  // still under the animation
        root->finishTransition();
        QCOMPARE(log.mid(3), QStringList({"root.didDisappear*", "modal.didAppear*"}));
        QVERIFY(root->view()->isHidden());

        for (int style : {ViewController::CoverVertical, ViewController::CrossDissolve}) {
            modal->setModalTransitionStyle(style);
            log.clear();
            root->dismissModalViewControllerAnimated(true);  // on the presenter
            QCOMPARE(log, QStringList({"modal.willDisappear*", "root.willAppear*"}));
            QSignalSpy finished(root, &ViewController::transitionFinished);
            QVERIFY(finished.wait(5000));  // the animation ends by itself
            QCOMPARE(log.mid(2), QStringList({"modal.didDisappear*", "root.didAppear*"}));
            if (style == ViewController::CoverVertical) {
                modal = new Screen("modal", &log);
                root->presentModalViewController(modal, false);
            }
        }
    }

    void secondPresentationIsIgnored()
    {
        auto *first = new Screen("first", &log);
        auto *second = new Screen("second", &log);
        first->setModalTransitionStyle(ViewController::CrossDissolve);
        root->presentModalViewController(first, true);
        log.clear();
        root->presentModalViewController(second, true);  // while the first is still animating
        QCOMPARE(root->modalViewController(), first);
        QVERIFY(!second->parentViewController());
        // Only the first transition's closing calls; nothing about the second.
        QCOMPARE(log, QStringList({"root.didDisappear*", "first.didAppear*"}));
        QVERIFY(!second->isViewLoaded());
        delete second;
    }

    void stackedScreensStayAliveAndDismissTogether()
    {
        auto *a = new Screen("a", &log);
        auto *b = new Screen("b", &log);
        root->presentModalViewController(a, false);
        a->presentModalViewController(b, false);
        QVERIFY(root->view()->isHidden() && a->view()->isHidden());
        QCOMPARE(b->parent(), a);

        QPointer<Screen> watchA(a), watchB(b);
        log.clear();
        root->dismissModalViewControllerAnimated(false);
        // The covered middle screen is not shown on the way out.
        QCOMPARE(log, QStringList({"b.willDisappear", "root.willAppear", "b.didDisappear",
                                   "root.didAppear"}));
        QVERIFY(!root->modalViewController());
        QTRY_VERIFY(watchA.isNull() && watchB.isNull());
    }

    void mouseOnTheViewBecomesTouchesInPoints()
    {
        auto *label = new QLabel("label", root->view());
        label->setGeometry(100, 100, 50, 50);
        auto *button = new QPushButton("button", root->view());
        button->setGeometry(0, 0, 60, 30);
        log.clear();

        QTest::mousePress(label, Qt::LeftButton, {}, QPoint(10, 20));  // labels pass it on
        QMouseEvent drag(QEvent::MouseMove, QPointF(40, 50), label->mapToGlobal(QPointF(40, 50)),
                         Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(label, &drag);
        QTest::mouseRelease(label, Qt::LeftButton, {}, QPoint(40, 50));
        QTest::mouseClick(button, Qt::LeftButton);  // buttons keep theirs
        QCOMPARE(log, QStringList({"root.began", "root.moved", "root.ended"}));
        QCOMPARE(root->touchLocations,
                 QList<QPointF>({QPointF(110, 120), QPointF(140, 150), QPointF(140, 150)}));
    }

    void realTouchEventsAreDeliveredToo()
    {
        auto *device = QTest::createTouchDevice();
        log.clear();
        QTest::touchEvent(window.get(), device).press(0, QPoint(30, 40), window.get());
        QTest::touchEvent(window.get(), device).move(0, QPoint(35, 45), window.get());
        QTest::touchEvent(window.get(), device).release(0, QPoint(35, 45), window.get());
        QCOMPARE(log, QStringList({"root.began", "root.moved", "root.ended"}));
        QCOMPARE(root->touchLocations.first(), QPointF(30, 40));
        QCOMPARE(root->touchLocations.last(), QPointF(35, 45));
    }

private:
    QStringList log;
    std::unique_ptr<Window> window;
    Screen *root = nullptr;
};

VELMORA_TEST_MAIN(TestViewController)
#include "tst_viewcontroller.moc"
