#include "DelayedPerform.h"
#include "Geometry.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "Timer.h"
#include "ViewGeometry.h"

#include <QLabel>
#include <algorithm>
#include <QPointer>

using namespace Velmora::Platform;

namespace {

struct Target : QObject
{
    int ticks = 0;
    QVariant seenInfo;
    void tick(Timer *t) { ++ticks, seenInfo = t->userInfo(); }
};

}  // namespace

// The small facilities the game and the ad library stand on: geometry, notifications, timers.
class TestFoundation : public QObject
{
    Q_OBJECT
private slots:
    // Rectangles meet when their closed extents do, whatever their size or sign;
    // a frame of zero size stays zero even where the widget cannot be that small.
    void closedExtentRuleAndZeroFrames()
    {
        const QList<std::tuple<QRectF, QRectF, bool>> cases{
            {{0, 0, 50, 50}, {40, 40, 50, 50}, true},
            {{0, 0, 50, 50}, {51, 0, 50, 50}, false},
            {{0, 0, 50, 50}, {50, 10, 5, 5}, true},      // touching the right edge
            {{0, 0, 50, 50}, {10, 60, 5, 5}, false},     // overlapping on x only
            {{0, 0, 50, 50}, {25, 25, 0, 0}, true},      // a point inside
            {{0, 0, 50, 50}, {0, 50, 0, 0}, true},       // a point on the edge
            {{0, 0, 0, 0}, {-10, -10, 10, 10}, true},    // a taken pick-up at the origin
            {{-500, 0, 0, 0}, {0, 0, 320, 480}, false},  // a parked pick-up
            {{60, 60, -20, -20}, {0, 0, 40, 40}, true}};
        for (const auto &[a, b, intersect] : cases) {
            QCOMPARE(Geometry::rectIntersectsRect(a, b), intersect);
            QCOMPARE(Geometry::rectIntersectsRect(b, a), intersect);
        }
        QWidget parent;
        auto *ball = new QLabel(&parent);
        ball->setMinimumSize(50, 50);
        ViewGeometry::setFrame(ball, QRectF(0, 0, 0, 0));
        QCOMPARE(ViewGeometry::frame(ball), QRectF(0, 0, 0, 0));
    }

    void deliveryInRegistrationOrderFiltersAndRemoval()
    {
        NotificationCenter center;
        QStringList log;
        QObject posterA, posterB, any, named, fromOne;
        const auto record = [&log](const QString &tag) {
            return [&log, tag](const Notification &n) { log << tag + ":" + n.name() + n.userInfo().value("n").toString(); };
        };
        center.addObserver(&named, "ping", nullptr, record("named"));
        center.addObserver(&any, QString(), nullptr, record("any"));
        center.addObserver(&fromOne, "ping", &posterA, record("fromA"));
        center.addObserver(&fromOne, "ping", &posterB, record("fromB"));
        center.postNotificationName("ping", &posterA, {{"n", 1}});
        center.postNotificationName("ping", &posterB, {{"n", 2}});
        center.postNotificationName("pong");
        QCOMPARE(log, QStringList({"named:ping1", "any:ping1", "fromA:ping1", "named:ping2", "any:ping2",
                                   "fromB:ping2", "any:pong"}));

        log.clear();
        center.removeObserver(&fromOne, "ping", &posterA);
        center.removeObserver(&named, "pong", nullptr);  // other name: stays
        center.removeObserver(&any);
        center.postNotificationName("ping", &posterA);
        center.postNotificationName("ping", &posterB);
        QCOMPARE(log, QStringList({"named:ping", "named:ping", "fromB:ping"}));
        center.removeObserver(&fromOne, "ping", nullptr);  // any object
        QCOMPARE(center.observationCount(&fromOne), 0);
        QCOMPARE(center.observationCount(&named), 1);

        // Observers coming and going while a notification is delivered.
        log.clear();
        auto *destroyed = new QObject;
        QObject first, second, late;
        center.addObserver(destroyed, "n", nullptr, [&](const Notification &) { log << "destroyed"; });
        center.addObserver(&first, "n", nullptr, [&](const Notification &) {
            log << "first";
            center.removeObserver(&second);
            center.addObserver(&late, "n", nullptr, [&](const Notification &) { log << "late"; });
        });
        center.addObserver(&second, "n", nullptr, [&](const Notification &) { log << "second"; });
        delete destroyed;
        center.postNotificationName("n");
        QCOMPARE(log, QStringList({"first"}));  // removed one skipped, added one waits
        center.removeObserver(&first);
        center.postNotificationName("n");
        QCOMPARE(log, QStringList({"first", "late"}));
    }

    void timersFireByHandOrInOneSharedQueue()
    {
        Target target;
        QPointer<Timer> repeating = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, true);
        Timer *once = Timer::scheduledTimerWithTimeInterval(3600, &target, &Target::tick, {}, false);
        QCOMPARE(Timer::timersOf(&target), QList<Timer *>({repeating, once}));
        repeating->fire();
        once->fire();
        QVERIFY(repeating->isValid() && !once->isValid());  // only a repeating timer keeps its schedule
        QCOMPARE(target.ticks, 2);

        // Moved to the distant future a timer waits, still valid; moved back, it fires on its own again.
        repeating->setFireDate(Timer::kDistantFuture);
        QCOMPARE(repeating->fireDate(), Timer::kDistantFuture);
        repeating->setFireDate(Timer::Clock::now());
        QTRY_COMPARE_WITH_TIMEOUT(target.ticks, 3, 10000);
        QVERIFY(repeating->fireDate() > Timer::Clock::now() + std::chrono::minutes(59));  // an hour on, as its interval says

        repeating->invalidate();
        repeating->fire();
        QCOMPARE(target.ticks, 3);
        QVERIFY(Timer::timersOf(&target).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(repeating.isNull(), 10000);  // deleted on a later turn

        auto *dying = new Target;
        QPointer<Timer> orphan = Timer::scheduledTimerWithTimeInterval(0.001, dying, &Target::tick, {}, true);
        delete dying;
        QVERIFY(orphan.isNull());  // dies with its target
        // An action that deletes its own target does not touch the dead timer afterwards.
        auto *selfDeleting = new QObject;
        Timer::schedule(3600, selfDeleting, [selfDeleting](Timer *) { delete selfDeleting; })->fire();

        // Thousands of timers share one Qt timer: those due together fire in the
        // order they were scheduled, each repeating one keeps its own cadence, a
        // single one fires once and goes, and an action may delete or stop timers
        // still waiting in the same turn. Intervals of 0 or less (or not a number) run at 1 ms.
        QStringList log;
        QObject owner;
        auto *doomed = new QObject(&owner);
        QPointer<Timer> stopped;
        for (const char *name : {"a", "b", "c"})
            Timer::schedule(0.02, &owner, [&log, name](Timer *) { log << name; });
        Timer::schedule(0.02, &owner, [&](Timer *) { delete doomed; stopped->invalidate(); });
        Timer::schedule(0.02, doomed, [&log](Timer *) { log << "doomed"; });
        stopped = Timer::schedule(0.02, &owner, [&log](Timer *) { log << "stopped"; }, {}, true);
        const QList<std::tuple<double, bool, int>> odd{  // seconds, repeats, interval in ms
            {0.01, true, 10}, {0.0, true, 1}, {-3.0, false, 1}, {std::nan(""), true, 1}};
        std::vector<std::unique_ptr<Target>> crowd(2000);
        QList<QPointer<Timer>> timers;
        for (size_t i = 0; i < crowd.size(); ++i) {
            const auto [seconds, repeats, intervalMs] = i < size_t(odd.size()) ? odd[i] : std::tuple(0.005, true, 5);
            crowd[i] = std::make_unique<Target>();
            timers << Timer::scheduledTimerWithTimeInterval(seconds, crowd[i].get(), &Target::tick, "info", repeats);
            QCOMPARE(timers.last()->intervalMs(), intervalMs);
        }
        Target slow;
        Timer::scheduledTimerWithTimeInterval(0.05, &slow, &Target::tick, {}, true);
        QTRY_VERIFY_WITH_TIMEOUT(slow.ticks >= 3, 10000);
        QCOMPARE(log, QStringList({"a", "b", "c"}));
        for (size_t i = 0; i < crowd.size(); ++i) {
            QCOMPARE(crowd[i]->seenInfo, QVariant("info"));
            const bool once = i < size_t(odd.size()) && !std::get<1>(odd[i]);
            QVERIFY2(once ? crowd[i]->ticks == 1 && timers[i].isNull() : crowd[i]->ticks > slow.ticks, qPrintable(QString::number(i)));
        }
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

VELMORA_TEST_MAIN(TestFoundation)
#include "tst_foundation.moc"
