#include "GameStage.h"
#include "TestMain.h"

namespace {

const QRectF kTaken(0, 0, 0, 0);

QList<Timer *> oneShotTimers(const RoundStage &stage)
{
    QList<Timer *> found;
    for (Timer *timer : stage.timers()) {
        if (!timer->repeats())
            found << timer;
    }
    return found;
}

}  // namespace

class TestPickups : public QObject
{
    Q_OBJECT
private slots:
    void placersUseRandomWholeSecondsIncludingZero()
    {
        // Hide: 40 mod 20 = 0, minus: 37 mod 36 = 1, plus: 119 mod 60 = 59.
        RoundStage stage({40, 37, 119});
        const QList<Timer *> timers = stage.timers();
        QCOMPARE(timers.size(), 3);
        QCOMPARE(timers[0]->timeInterval(), 0.0);
        QCOMPARE(timers[0]->intervalMs(), Timer::kMinimumIntervalMs);
        QCOMPARE(timers[1]->timeInterval(), 1.0);
        QCOMPARE(timers[2]->timeInterval(), 59.0);

        for (const char *name : {"plusScore", "subScore", "invisibleBall"}) {
            QCOMPARE(ViewGeometry::frame(stage.label(name)), QRectF(-500, 0, 0, 0));
            QVERIFY(stage.label(name)->isHidden());
        }

        // Each firing places the pick-up anew, top-left corner anywhere on the field.
        stage.random.push({319, 479, 320 + 5, 480 + 7});
        timers[0]->fire();
        QCOMPARE(ViewGeometry::frame(stage.label("invisibleBall")), QRectF(319, 479, 50, 50));
        QVERIFY(!stage.label("invisibleBall")->isHidden());
        timers[0]->fire();
        QCOMPARE(ViewGeometry::frame(stage.label("invisibleBall")), QRectF(5, 7, 50, 50));
    }

    void takingPlusAndMinusScoresAndShowsThePlayer()
    {
        RoundStage stage;
        QLabel *plus = stage.label("plusScore");
        QLabel *minus = stage.label("subScore");
        stage.random.push({100, 200});
        stage.round->showPlus();

        // A touch moves the ball there and takes the pick-up.
        const TouchPoint finger(stage.round->view(), QPointF(125, 225), QPointF(125, 225), TouchPoint::Began, 1, 0);
        stage.round->touchesBegan({finger}, TouchEvent({finger}, 0));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(125, 225));
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("10"));
        QVERIFY(plus->isHidden());
        QCOMPARE(ViewGeometry::frame(plus), kTaken);

        // Three minus pick-ups take the score below zero.
        for (int i = 0; i < 3; ++i) {
            stage.random.push({100, 200});
            stage.round->showMinus();
            stage.round->touchesMoved({finger}, TouchEvent({finger}, 0));
            QVERIFY(minus->isHidden());
            QCOMPARE(ViewGeometry::frame(minus), kTaken);
        }
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("-5"));
    }

    void mouseMovesThePlayerAnywhereOnTheField()
    {
        RoundStage stage;
        stage.window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&stage.window));
        QWidget *field = stage.round->view();
        // Pressed on the hint panel and dragged over the field: the ball follows.
        QTest::mousePress(stage.window.windowHandle(), Qt::LeftButton, {}, field->mapTo(&stage.window, QPoint(160, 330)));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(160, 330));
        QTest::mouseMove(stage.window.windowHandle(), field->mapTo(&stage.window, QPoint(60, 400)));
        QCOMPARE(ViewGeometry::center(stage.player()), QPointF(60, 400));
        QTest::mouseRelease(stage.window.windowHandle(), Qt::LeftButton, {}, field->mapTo(&stage.window, QPoint(60, 400)));
    }

    void takenPickupsAtTheOriginAreStillTaken()
    {
        RoundStage stage;
        stage.random.push({200, 200});
        stage.round->showPlus();
        // Touching edges count: the player's right edge is exactly x 200.
        stage.movePlayer(QPointF(182, 225));
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("10"));

        // The taken pick-up is a hidden point at (0, 0): a player covering the
        // corner takes it again on every touch. The parked minus at x -500 is never reached.
        stage.movePlayer(QPointF(10, 10));
        stage.round->checkcollision();
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("30"));
        stage.movePlayer(QPointF(19, 19));
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("30"));
    }

    void hidingTwiceShowsThePlayerAfterTheFirstTwentySeconds()
    {
        RoundStage stage;
        QLabel *hide = stage.label("invisibleBall");
        stage.movePlayer(QPointF(125, 225));
        for (int take = 0; take < 2; ++take) {
            stage.random.push({100, 200});
            stage.round->showBall();
            stage.round->checkcollision();
            QVERIFY(stage.player()->isHidden());
            QVERIFY(hide->isHidden());
            QCOMPARE(ViewGeometry::frame(hide), kTaken);
        }
        const QList<Timer *> reveals = oneShotTimers(stage);
        QCOMPARE(reveals.size(), 2);
        QCOMPARE(reveals[0]->timeInterval(), 20.0);
        reveals[0]->fire();
        QVERIFY(!stage.player()->isHidden());
        reveals[1]->fire();
        QVERIFY(!stage.player()->isHidden());

        // A plus pick-up ends a hide at once.
        stage.random.push({100, 200, 100, 200});
        stage.round->showBall();
        stage.round->checkcollision();
        QVERIFY(stage.player()->isHidden());
        stage.round->showPlus();
        stage.round->checkcollision();
        QVERIFY(!stage.player()->isHidden());
    }

    void scoreTakenBeforeTheStartIsReset()
    {
        RoundStage stage;
        stage.random.push({100, 200});
        stage.round->showPlus();
        stage.movePlayer(QPointF(125, 225));
        stage.round->checkcollision();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("10"));
        stage.round->startCount();
        stage.round->randomMainVoid();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("1"));
    }
};

VELMORA_TEST_MAIN(TestPickups)
#include "tst_pickups.moc"
