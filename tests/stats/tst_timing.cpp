#include "Application.h"
#include "MonotonicClock.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "Timing/TSKTimingManager.h"
#include "UserDefaults.h"

class TestTiming : public QObject
{
    Q_OBJECT
    double now_ = 1000.0;

private slots:
    void init()
    {
        now_ = 1000.0;
        MonotonicClock::setSource([this] { return now_; });
        UserDefaults::standard().removeObjectForKey("tiskos_timing_test");
    }

    void cleanup() { MonotonicClock::setSource({}); }

    void movesBetweenIdleRunningAndEnded()
    {
        TSKTiming timing("prl");
        timing.end();
        QCOMPARE(timing.endSeconds(), 0.0);
        QVERIFY(!timing.isActive());

        timing.start();
        QVERIFY(timing.isActive());
        now_ += 0.25;
        QCOMPARE(timing.elapsedMilliseconds(), 250u);
        now_ += 0.5;
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("750"));

        timing.end();
        QVERIFY(!timing.isActive());
        now_ += 10;
        QCOMPARE(timing.elapsedMilliseconds(), 750u);
        timing.end();  // an ended timing moves on to a later end
        QCOMPARE(timing.elapsedMilliseconds(), 10750u);

        timing.start();
        QVERIFY(timing.isActive());
        QCOMPARE(timing.endSeconds(), 0.0);
        timing.reset();
        QCOMPARE(timing.startSeconds(), 0.0);
        QVERIFY(!timing.isActive());
    }

    void millisecondsAreCutAndSaturated()
    {
        TSKTiming timing("ptime");
        timing.start();
        now_ += 0.0019;
        QCOMPARE(timing.elapsedMilliseconds(), 1u);

        // A start stored before a reboot lies ahead of the restarted clock.
        now_ = 5.0;
        QCOMPARE(timing.elapsedMilliseconds(), 0u);
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("0"));

        now_ = 1000.0 + 4294967.296;
        QCOMPARE(timing.elapsedMilliseconds(), 4294967295u);
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("-1"));
        now_ = 1000.0 + 4294967.294;
        QCOMPARE(timing.elapsedMilliseconds(), 4294967294u);

        // Never started: the clock reading itself.
        now_ = 2.5;
        QCOMPARE(TSKTiming("idle").elapsedMilliseconds(), 2500u);
    }

    void userDataAndStoredForm()
    {
        TSKTiming timing("pcl");
        QVERIFY(!timing.dictionaryRepresentation().contains("userData"));
        timing.setValueForKey(QVariant(), "pit");  // creates the data, stores nothing
        QCOMPARE(timing.dictionaryRepresentation().value("userData"), QVariant(QVariantMap()));
        timing.setValueForKey("abc", "pit");
        timing.setValueForKey(QVariant(), "pit");
        QCOMPARE(timing.valueForKey("pit").toString(), QStringLiteral("abc"));
        timing.start();
        now_ += 2;
        timing.end();
        const std::optional<TSKTiming> copy = TSKTiming::fromDictionaryRepresentation(timing.dictionaryRepresentation());
        QCOMPARE(copy->dictionaryRepresentation(), timing.dictionaryRepresentation());
        QCOMPARE(copy->elapsedMilliseconds(), 2000u);
    }

    void storedFormsOfTheWrongShapeAreSkipped()
    {
        const QVariantMap stored{
            {"renamed", QVariantMap{{"category", "original"}, {"start", 3.5}}},
            {"odd", QVariantMap{{"category", "x"}, {"start", "soon"}, {"userData", 3}}},
            {"no category", QVariantMap{{"start", 1.0}}},
            {"numeric category", QVariantMap{{"category", 7}}},
            {"junk", "text"},
        };
        const auto timings = TSKTimingManager::timingsFromStoredForm(stored);
        QCOMPARE(timings.size(), size_t(2));
        // Kept under the stored key, not under the timing's own category.
        QCOMPARE(timings.at("renamed")->category(), QStringLiteral("original"));
        QCOMPARE(timings.at("odd")->startSeconds(), 0.0);
        QCOMPARE(timings.at("odd")->keysAndValues(), QVariantMap());
        QVERIFY(TSKTimingManager::timingsFromStoredForm(QVariant("not a dictionary")).empty());
    }

    void managerKeepsOneTimingPerCategory()
    {
        TSKTimingManager manager("test");
        QVERIFY(manager.categories().isEmpty());
        QVERIFY(!manager.addTimingWithCategory(QString()));
        manager.addTimingWithCategory("b")->start();
        manager.addTimingWithCategory("a");
        TSKTiming replacement("b");
        replacement.setValueForKey(1, "k");
        manager.addTiming(replacement);
        QCOMPARE(manager.categories(), QStringList({"a", "b"}));
        QVERIFY(!manager.timingForCategory("b")->isActive());
        QCOMPARE(manager.timings().at(1)->valueForKey("k"), QVariant(1));

        manager.removeTiming(manager.timingForCategory("a"));
        manager.addTimingWithCategory("c");
        manager.removeTimingsForCategories({"b", "missing"});
        QCOMPARE(manager.categories(), QStringList{"c"});
        manager.removeAllTimings();
        QVERIFY(manager.timings().empty());
    }

    void managerSavesOnSynchronizeTerminationAndDestruction()
    {
        UserDefaults &defaults = UserDefaults::standard();
        {
            TSKTimingManager manager("test");
            QCOMPARE(manager.userDefaultsKey(), QStringLiteral("tiskos_timing_test"));
            manager.synchronize();
            QCOMPARE(defaults.objectForKey("tiskos_timing_test"), QVariant(QVariantMap()));
            TSKTiming *running = manager.addTimingWithCategory("ptime");
            running->start();
            running->setValueForKey("x", "pai");
        }
        TSKTimingManager reloaded("test");
        reloaded.addTimingWithCategory("pcl");
        NotificationCenter::defaultCenter()->postNotificationName(Application::WillTerminateNotification);
        QVERIFY(defaults.dictionaryForKey("tiskos_timing_test").contains("pcl"));
        QVERIFY(reloaded.timingForCategory("ptime"));
        QVERIFY(reloaded.timingForCategory("ptime")->isActive());
        QCOMPARE(reloaded.timingForCategory("ptime")->startSeconds(), 1000.0);
        QCOMPARE(reloaded.timingForCategory("ptime")->valueForKey("pai").toString(), QStringLiteral("x"));
    }
};

VELMORA_TEST_MAIN(TestTiming)
#include "tst_timing.moc"
