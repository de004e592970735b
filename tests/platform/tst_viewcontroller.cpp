#include "TestMain.h"
#include "ViewController.h"
#include "Window.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>

namespace {

// Logs lifecycle calls and touches as "<name>.<call>", a star marking "animated".
class Screen : public ViewController
{
public:
    Screen(QString name, QStringList *log) : name_(std::move(name)), log_(log) {}

    void viewDidLoad() override { note("load", false); }
    void viewWillAppear(bool animated) override { note("willAppear", animated); }
    void viewDidAppear(bool animated) override { note("didAppear", animated); }
    void viewWillDisappear(bool animated) override { note("willDisappear", animated); }
    void viewDidDisappear(bool animated) override { note("didDisappear", animated); }
    void touchesBegan(const QList<TouchPoint> &t, const TouchEvent &) override { touch("began", t); }
    void touchesMoved(const QList<TouchPoint> &t, const TouchEvent &) override { touch("moved", t); }
    void touchesEnded(const QList<TouchPoint> &t, const TouchEvent &) override { touch("ended", t); }

    QList<QPointF> touchLocations;

private:
    void note(const QString &call, bool animated) { *log_ << name_ + "." + call + (animated ? "*" : ""); }
    void touch(const QString &call, const QList<TouchPoint> &touches)
    {
        note(call, false);
        touchLocations << touches.first().locationInView(touches.first().view());
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
        log.clear();
    }

    void cleanup()
    {
        delete root;
        window.reset();
    }

    void presentAndDismissWithoutAnimation()
    {
        auto *modal = new Screen("modal", &log);
        QVERIFY(!modal->isViewLoaded());
        root->presentModalViewController(modal, false);
        QCOMPARE(log, QStringList({"modal.load", "root.willDisappear", "modal.willAppear",
                                   "root.didDisappear", "modal.didAppear"}));
        QCOMPARE(root->modalViewController(), modal);
        QCOMPARE(modal->parentViewController(), root);
        QVERIFY(root->view()->isHidden());  // covered, not destroyed
        QCOMPARE(modal->view()->parentWidget(), window->contentView());

        log.clear();
        QPointer<Screen> watch(modal);
        modal->dismissModalViewControllerAnimated(false);  // on the presented one
        QCOMPARE(log, QStringList({"modal.willDisappear", "root.willAppear", "modal.didDisappear",
                                   "root.didAppear"}));
        QVERIFY(!root->modalViewController());
        QVERIFY(root->view()->isVisible());
        QTRY_VERIFY(watch.isNull());  // the presentation owned it
    }

    void animatedTransitionsDeferTheClosingCalls()
    {
        for (int style : {ViewController::CoverVertical, ViewController::FlipHorizontal,
                          ViewController::CrossDissolve}) {
            auto *modal = new Screen("modal", &log);
            modal->setModalTransitionStyle(style);
            log.clear();
            root->presentModalViewController(modal, true);
            QCOMPARE(log, QStringList({"modal.load", "root.willDisappear*", "modal.willAppear*"}));
            QVERIFY(!root->view()->isHidden());  // still under the animation
            root->finishTransition();
            QCOMPARE(log.mid(3), QStringList({"root.didDisappear*", "modal.didAppear*"}));
            QVERIFY(root->view()->isHidden());

            log.clear();
            root->dismissModalViewControllerAnimated(true);  // on the presenter
            QCOMPARE(log, QStringList({"modal.willDisappear*", "root.willAppear*"}));
            QSignalSpy finished(root, &ViewController::transitionFinished);
            QVERIFY(finished.wait(5000));  // ends by itself too
            QCOMPARE(log.mid(2), QStringList({"modal.didDisappear*", "root.didAppear*"}));
        }
    }

    void secondPresentationIsIgnored()
    {
        auto *first = new Screen("first", &log);
        Screen second("second", &log);
        root->presentModalViewController(first, true);
        log.clear();
        root->presentModalViewController(&second, true);  // while the first is still animating
        QCOMPARE(root->modalViewController(), first);
        QVERIFY(!second.parentViewController() && !second.isViewLoaded());
        // The first transition is settled; nothing happens for the second.
        QCOMPARE(log, QStringList({"root.didDisappear*", "first.didAppear*"}));
    }

    void stackedScreensStayAliveAndDismissTogether()
    {
        auto *a = new Screen("a", &log);
        auto *b = new Screen("b", &log);
        root->presentModalViewController(a, false);
        a->presentModalViewController(b, false);
        QVERIFY(root->view()->isHidden() && a->view()->isHidden());

        QPointer<Screen> watchA(a), watchB(b);
        log.clear();
        root->dismissModalViewControllerAnimated(false);
        // The covered middle screen is not shown on the way out.
        QCOMPARE(log, QStringList({"b.willDisappear", "root.willAppear", "b.didDisappear", "root.didAppear"}));
        QTRY_VERIFY(watchA.isNull() && watchB.isNull());
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

        auto *device = QTest::createTouchDevice();
        QTest::touchEvent(window.get(), device).press(0, QPoint(30, 40), window.get());
        QTest::touchEvent(window.get(), device).move(0, QPoint(35, 45), window.get());
        QTest::touchEvent(window.get(), device).release(0, QPoint(35, 45), window.get());

        QCOMPARE(log, QStringList({"root.began", "root.moved", "root.ended", "root.began",
                                   "root.moved", "root.ended"}));
        QCOMPARE(root->touchLocations, QList<QPointF>({{110, 120}, {140, 150}, {140, 150},
                                                       {30, 40}, {35, 45}, {35, 45}}));
    }

private:
    QStringList log;
    std::unique_ptr<Window> window;
    Screen *root = nullptr;
};

VELMORA_TEST_MAIN(TestViewController)
#include "tst_viewcontroller.moc"
