#include "DelayedPerform.h"
#include "TestMain.h"
#include "Timer.h"

#include <QPointer>

namespace {

struct Target : QObject
{
    int ticks = 0;
    QVariant seenInfo;
    void tick() { ++ticks; }
    void tickWithTimer(Timer *t) { ++ticks, seenInfo = t->userInfo(); }
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
        timer->fire();
        timer->fire();
        QCOMPARE(target.ticks, 2);
        QVERIFY(timer->isValid());  // firing by hand keeps a repeating timer scheduled
        QTRY_VERIFY(target.ticks >= 5);  // the event loop drives it too
        QCOMPARE(Timer::timersOf(&target), QList<Timer *>{timer});

        timer->invalidate();
        const int ticks = target.ticks;
        timer->fire();
        QVERIFY(Timer::timersOf(&target).isEmpty());
        QTRY_VERIFY(timer.isNull());  // deleted on a later turn
        QCOMPARE(target.ticks, ticks);
    }

    void oneShotFiresOnceThenGoesAway()
    {
        Target target;
        QPointer<Timer> timer = Timer::scheduledTimerWithTimeInterval(0.001, &target, &Target::tickWithTimer,
                                                                      QString("info"), false);
        QTRY_VERIFY(timer.isNull());
        QCOMPARE(target.ticks, 1);
        QCOMPARE(target.seenInfo.toString(), QString("info"));

        Timer *byHand = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, false);
        byHand->fire();
        QVERIFY(!byHand->isValid());
        QCOMPARE(target.ticks, 2);
    }

    void nonPositiveIntervalsBecomeOneMillisecond()
    {
        Target target;
        for (double seconds : {0.0, -3.0, std::nan("")})
            QCOMPARE(Timer::scheduledTimerWithTimeInterval(seconds, &target, &Target::tick, {}, true)->intervalMs(), 1);
        QTRY_VERIFY(target.ticks >= 6);
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
        QTRY_COMPARE(log, QStringList({"a", "b"}));
        QCOMPARE(DelayedPerform::pendingCount(target), 0);

        QPointer<QObject> watch(target);
        performAfterDelay(target, [&] { delete target; log << "deleted itself"; }, 0);
        QTRY_VERIFY(watch.isNull());
        QCOMPARE(log.last(), QString("deleted itself"));
    }
};

VELMORA_TEST_MAIN(TestTimer)
#include "tst_timer.moc"
