#include "GameStage.h"
#include "Over.h"
#include "TestMain.h"

#include <QTemporaryFile>
#include <cstdio>
#include <unistd.h>

namespace {

// What the code under test writes to standard output while `work` runs.
QByteArray captureStdout(const std::function<void()> &work)
{
    QTemporaryFile file;
    if (!file.open())
        return {};
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(file.handle(), STDOUT_FILENO);
    work();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    file.seek(0);
    return file.readAll();
}

}  // namespace

class TestRound : public QObject
{
    Q_OBJECT
private slots:
    void firstBallWaitsAndTimersStartWithTheRound()
    {
        RoundStage stage;
        QCOMPARE(stage.round->balls().size(), 1);
        Ball *first = stage.round->balls().first();
        QCOMPARE(ViewGeometry::center(first), QPointF(0, 480));
        QCOMPARE(first->pos(), QPointF(14, 7));
        QCOMPARE(stage.timers().size(), 3);

        stage.round->startCount();
        QVERIFY(stage.round->view()->findChild<QWidget *>("starting")->isHidden());
        const QList<Timer *> timers = stage.timers();
        QCOMPARE(timers.size(), 6);
        QCOMPARE(timers[3]->timeInterval(), 0.05);
        QCOMPARE(timers[4]->timeInterval(), 1.0);
        QCOMPARE(timers[5]->timeInterval(), 1.0);
        for (Timer *timer : timers)
            QVERIFY(timer->repeats());

        // The seconds timer shows the score counting up from the start.
        timers[5]->fire();
        timers[5]->fire();
        QCOMPARE(stage.label("lab")->text(), QStringLiteral("2"));
    }

    void spawnsEvery200TicksAtTheBottomEdge()
    {
        RoundStage stage;
        stage.parkPlayer();
        // Extremes of the ranges: x 309 with the slowest speeds, then x 10 with the fastest.
        stage.random.push({299, 0, 0, 300, 9, 6});

        stage.ticks(199);
        QCOMPARE(stage.round->balls().size(), 1);
        stage.ticks(1);
        QCOMPARE(stage.round->balls().size(), 2);
        // Spawned at (309, 480) and moved in the same tick: below the edge, so it turns upwards.
        Ball *second = stage.round->balls().at(1);
        QCOMPARE(ViewGeometry::center(second), QPointF(309 + 5.5, 480 + 4.5));
        QCOMPARE(second->pos(), QPointF(5.5, -4.5));
        stage.ticks(1);
        QCOMPARE(ViewGeometry::center(second), QPointF(309 + 11.0, 480));

        stage.ticks(199);
        QCOMPARE(stage.round->balls().size(), 3);
        Ball *third = stage.round->balls().at(2);
        QCOMPARE(ViewGeometry::center(third), QPointF(10 + 14.5, 480 + 10.5));
        QCOMPARE(third->pos(), QPointF(14.5, -10.5));
    }

    void tickCounterGoesToStandardOutput()
    {
        RoundStage stage;
        stage.parkPlayer();
        stage.ticks(198);
        const QByteArray out = captureStdout([&stage] { stage.ticks(4); });
        QCOMPARE(out, QByteArray("199\n200\n1\n2\n"));
    }

    void bouncesOnlyOnceTheCentreIsPastAnEdge_data()
    {
        QTest::addColumn<QPointF>("centre");
        QTest::addColumn<QPointF>("velocity");
        QTest::addColumn<QPointF>("movedTo");
        QTest::addColumn<QPointF>("velocityAfter");
        QTest::newRow("right edge exactly") << QPointF(306, 100) << QPointF(14, 7) << QPointF(320, 107) << QPointF(14, 7);
        QTest::newRow("past right") << QPointF(310, 100) << QPointF(14, 7) << QPointF(324, 107) << QPointF(-14, 7);
        QTest::newRow("left edge exactly") << QPointF(14, 100) << QPointF(-14, 7) << QPointF(0, 107) << QPointF(-14, 7);
        QTest::newRow("past left") << QPointF(10, 100) << QPointF(-14, 7) << QPointF(-4, 107) << QPointF(14, 7);
        QTest::newRow("bottom edge exactly") << QPointF(100, 473) << QPointF(14, 7) << QPointF(114, 480) << QPointF(14, 7);
        QTest::newRow("past bottom") << QPointF(100, 475) << QPointF(14, 7) << QPointF(114, 482) << QPointF(14, -7);
        QTest::newRow("top edge exactly") << QPointF(100, 5) << QPointF(14, -5) << QPointF(114, 0) << QPointF(14, -5);
        QTest::newRow("past top") << QPointF(100, 4) << QPointF(14, -5) << QPointF(114, -1) << QPointF(14, 5);
        QTest::newRow("past a corner") << QPointF(315, 478) << QPointF(6.5, 4.5) << QPointF(321.5, 482.5) << QPointF(-6.5, -4.5);
    }

    void bouncesOnlyOnceTheCentreIsPastAnEdge()
    {
        QFETCH(QPointF, centre);
        QFETCH(QPointF, velocity);
        QFETCH(QPointF, movedTo);
        QFETCH(QPointF, velocityAfter);
        RoundStage stage;
        stage.parkPlayer();
        Ball *ball = stage.round->balls().first();
        ViewGeometry::setCenter(ball, centre);
        ball->setPos(velocity);
        stage.ticks(1);
        QCOMPARE(ViewGeometry::center(ball), movedTo);
        QCOMPARE(ball->pos(), velocityAfter);
    }

    void pauseStopsMotionAndSpawningOfEveryRound()
    {
        RoundStage stage;
        stage.parkPlayer();
        stage.ticks(150);
        stage.round->kk();
        QVERIFY(stage.round->balls().isEmpty());
        stage.ticks(400);
        QVERIFY(stage.round->balls().isEmpty());

        // The pause is shared: a later round's first ball stands still too.
        RoundStage later;
        later.parkPlayer();
        Ball *waiting = later.round->balls().first();
        later.ticks(5);
        QCOMPARE(ViewGeometry::center(waiting), QPointF(0, 480));

        // Resuming adds one ball; the spawn counter went on from 150, not from 550.
        later.random.push({100, 0, 0});  // the newest script is the one installed
        stage.round->alertViewDidDismissWithButtonIndex(nullptr, 0);
        QCOMPARE(stage.round->balls().size(), 1);
        QCOMPARE(ViewGeometry::center(stage.round->balls().first()), QPointF(110, 480));
        stage.ticks(49);
        QCOMPARE(stage.round->balls().size(), 1);
        stage.ticks(1);
        QCOMPARE(stage.round->balls().size(), 2);
        later.ticks(1);
        QCOMPARE(ViewGeometry::center(waiting), QPointF(14, 487));
    }

    void twoBallsOnThePlayerPresentOneGameOver()
    {
        RoundStage stage;
        stage.round->startCount();
        for (int second = 0; second < 3; ++second)
            stage.round->randomMainVoid();
        stage.round->alertViewDidDismissWithButtonIndex(nullptr, 0);
        QCOMPARE(stage.round->balls().size(), 2);
        for (Ball *ball : stage.round->balls())
            stage.putBallOnPlayer(ball);

        stage.ticks(1);
        auto *over = qobject_cast<Over *>(stage.round->modalViewController());
        QVERIFY(over);
        QCOMPARE(over->modalTransitionStyle(), int(ViewController::CrossDissolve));
        QCOMPARE(stage.round->findChildren<Over *>().size(), 1);
        QCOMPARE(over->view()->findChild<QLabel *>("lab")->text(), QStringLiteral("3"));

        // The round goes on underneath; asking again changes nothing.
        for (Ball *ball : stage.round->balls())
            stage.putBallOnPlayer(ball);
        stage.ticks(1);
        QCOMPARE(stage.round->modalViewController(), over);
        QCOMPARE(stage.round->findChildren<Over *>().size(), 1);
        QCOMPARE(stage.timers().size(), 6);
    }

    void hiddenPlayerStillCollides()
    {
        RoundStage stage;
        stage.random.push({100, 200});
        stage.round->showBall();
        stage.movePlayer(QPointF(125, 225));
        stage.round->checkcollision();
        QVERIFY(stage.player()->isHidden());

        stage.putBallOnPlayer(stage.round->balls().first());
        stage.ticks(1);
        QVERIFY(qobject_cast<Over *>(stage.round->modalViewController()));
    }
};

VELMORA_TEST_MAIN(TestRound)
#include "tst_round.moc"
