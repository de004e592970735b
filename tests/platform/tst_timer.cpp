#include "DelayedPerform.h"
#include "TestMain.h"
#include "Timer.h"

#include <QPointer>
#include <QSignalSpy>

namespace {

class Target : public QObject
{
public:
    int ticks = 0;
    QVariant seenInfo;
    void tick() { ++ticks; }
    void tickWithTimer(Timer *t) { ++ticks; seenInfo = t->userInfo(); }
};

}  // namespace

class TestTimer : public QObject
{
    Q_OBJECT
private slots:
    void repeatingTimerKeepsFiringUntilInvalidated()
    {
        Target target;
        QPointer<Timer> timer = Timer::scheduledTimerWithTimeInterval(0.01, &target, &Target::tick, {}, true);
        QCOMPARE(timer->intervalMs(), 10);
        QVERIFY(timer->repeats());

        timer->fire();
        timer->fire();
        QCOMPARE(target.ticks, 2);
        QVERIFY(timer->isValid());  // firing by hand keeps a repeating timer scheduled

        QTRY_VERIFY_WITH_TIMEOUT(target.ticks >= 5, 10000);  // the event loop drives it too
        QCOMPARE(Timer::timersOf(&target), QList<Timer *>{timer});

        timer->invalidate();
        const int ticksAtInvalidate = target.ticks;
        QVERIFY(!timer->isValid());
        timer->fire();
        QCOMPARE(target.ticks, ticksAtInvalidate);
        QVERIFY(Timer::timersOf(&target).isEmpty());
        QTRY_VERIFY(timer.isNull());  // deleted on a later turn
        QCOMPARE(target.ticks, ticksAtInvalidate);
    }

    void oneShotFiresOnceThenGoesAway()
    {
        Target target;
        QPointer<Timer> timer = Timer::scheduledTimerWithTimeInterval(
            0.001, &target, &Target::tickWithTimer, QString("info"), false);
        QTRY_COMPARE(target.ticks, 1);
        QCOMPARE(target.seenInfo.toString(), QString("info"));
        QTRY_VERIFY(timer.isNull());

        QPointer<Timer> byHand = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, false);
        byHand->fire();
        QVERIFY(!byHand->isValid());
        QCOMPARE(target.ticks, 2);
    }

    void nonPositiveIntervalsBecomeOneMillisecond()
    {
        Target target;
        for (double seconds : {0.0, -3.0, std::nan("")}) {
            Timer *timer = Timer::scheduledTimerWithTimeInterval(seconds, &target, &Target::tick, {}, true);
            QCOMPARE(timer->intervalMs(), Timer::kMinimumIntervalMs);
        }
        QTRY_VERIFY(target.ticks >= 6);
        // A whole-second interval stays whole.
        QCOMPARE(Timer::scheduledTimerWithTimeInterval(59.0, &target, &Target::tick, {}, true)->intervalMs(), 59000);
    }

    void timerDiesWithItsTarget()
    {
        auto *target = new Target;
        QPointer<Timer> timer = Timer::scheduledTimerWithTimeInterval(0.001, target, &Target::tick, {}, true);
        delete target;
        QVERIFY(timer.isNull());

        // An action that deletes its own target does not touch the dead timer afterwards.
        auto *selfDeleting = new QObject;
        QPointer<QObject> watch(selfDeleting);
        Timer::schedule(3600, selfDeleting, [selfDeleting](Timer *) { delete selfDeleting; })->fire();
        QVERIFY(watch.isNull());
    }

    void delayedPerformsRunInOrderAndAreBoundToTheirTarget()
    {
        QStringList log;
        auto *target = new QObject;
        auto *doomed = new QObject;
        performAfterDelay(target, [&] { log << "a"; }, 0);
        performAfterDelay(doomed, [&] { log << "doomed"; }, 0);
        performAfterDelay(target, [&] { log << "b"; }, -1);
        QCOMPARE(DelayedPerform::pendingCount(target), 2);
        QVERIFY(log.isEmpty());  // never inline
        delete doomed;
        QTRY_COMPARE(log, QStringList({"a", "b"}));
        QCOMPARE(DelayedPerform::pendingCount(target), 0);

        // A perform may delete its own target.
        QPointer<QObject> watch(target);
        performAfterDelay(target, [&] { delete target; log << "deleted"; }, 0);
        QTRY_VERIFY(watch.isNull());
        QCOMPARE(log.last(), QString("deleted"));
    }

    void cancelDropsOnlyTheTargetsPendingRequests()
    {
        QStringList log;
        QObject target, other;
        performAfterDelay(&target, [&] { log << "cancelled"; }, 0);
        performAfterDelay(&target, [&] { log << "cancelled too"; }, 0.3);
        performAfterDelay(&other, [&] { log << "other"; }, 0);
        cancelPreviousPerformRequests(&target);
        QCOMPARE(DelayedPerform::pendingCount(&target), 0);
        performAfterDelay(&target, [&] { log << "after cancel"; }, 0);
        QTRY_COMPARE(log, QStringList({"other", "after cancel"}));
    }
};

VELMORA_TEST_MAIN(TestTimer)
#include "tst_timer.moc"
