#include "DelayedPerform.h"
#include "TestMain.h"
#include "Timer.h"

#include <QPointer>

namespace {

struct Target : QObject
{
    int ticks = 0;
    QVariant seenInfo;
    void tick(Timer *t) { ++ticks, seenInfo = t->userInfo(); }
};

}  // namespace

class TestTimer : public QObject
{
    Q_OBJECT
private slots:
    void eventLoopFiresOnceOrRepeatedly_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("repeats");
        QTest::addColumn<int>("intervalMs");
        QTest::newRow("once") << 0.001 << false << 1;
        QTest::newRow("repeating") << 0.01 << true << 10;
        QTest::newRow("zero") << 0.0 << true << 1;
        QTest::newRow("negative") << -3.0 << false << 1;
        QTest::newRow("not a number") << std::nan("") << true << 1;
    }

    void eventLoopFiresOnceOrRepeatedly()
    {
        QFETCH(double, seconds);
        QFETCH(bool, repeats);
        QFETCH(int, intervalMs);
        Target target;
        QPointer<Timer> timer = Timer::scheduledTimerWithTimeInterval(seconds, &target, &Target::tick, "info", repeats);
        QCOMPARE(timer->intervalMs(), intervalMs);
        QTRY_VERIFY_WITH_TIMEOUT(target.ticks >= (repeats ? 3 : 1), 10000);
        QCOMPARE(target.seenInfo, QVariant("info"));
        if (repeats) {
            QVERIFY(timer->isValid());
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(timer.isNull(), 10000);  // gone once it has fired
            QCOMPARE(target.ticks, 1);
        }
    }

    void firingByHandAndInvalidation()
    {
        Target target;
        QPointer<Timer> repeating = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, true);
        Timer *once = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, false);
        QCOMPARE(repeating->intervalMs(), 3600000);
        QCOMPARE(Timer::timersOf(&target), QList<Timer *>({repeating, once}));
        repeating->fire();
        once->fire();
        QVERIFY(repeating->isValid());  // keeps its schedule
        QVERIFY(!once->isValid());
        QCOMPARE(target.ticks, 2);

        repeating->invalidate();
        repeating->fire();
        QCOMPARE(target.ticks, 2);
        QVERIFY(Timer::timersOf(&target).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(repeating.isNull(), 10000);  // deleted on a later turn

        auto *doomed = new Target;
        QPointer<Timer> orphan = Timer::scheduledTimerWithTimeInterval(0.001, doomed, &Target::tick, {}, true);
        delete doomed;
        QVERIFY(orphan.isNull());  // dies with its target
        // An action that deletes its own target does not touch the dead timer afterwards.
        auto *selfDeleting = new QObject;
        Timer::schedule(3600, selfDeleting, [selfDeleting](Timer *) { delete selfDeleting; })->fire();
    }

    void delayedPerformsRunInOrderBoundToTheirTarget()
    {
        QStringList log;
        auto *target = new QObject;
        auto *doomed = new QObject;
        QObject cancelled;
        performAfterDelay(target, [&] { log << "a"; }, 0);
        performAfterDelay(doomed, [&] { log << "doomed"; }, 0);
        performAfterDelay(&cancelled, [&] { log << "cancelled"; }, 0);
        performAfterDelay(target, [&] { log << "b"; }, -1);
        cancelPreviousPerformRequests(&cancelled);
        QCOMPARE(DelayedPerform::pendingCount(target), 2);
        QVERIFY(log.isEmpty());  // never inline
        delete doomed;
        QPointer<QObject> watch(target);
        performAfterDelay(target, [&] { delete target; log << "deleted itself"; }, 0);
        QTRY_VERIFY_WITH_TIMEOUT(watch.isNull(), 10000);
        QCOMPARE(log, QStringList({"a", "b", "deleted itself"}));
    }
};

VELMORA_TEST_MAIN(TestTimer)
#include "tst_timer.moc"
