#include "NotificationCenter.h"
#include "TestMain.h"

class TestNotificationCenter : public QObject
{
    Q_OBJECT
private slots:
    void deliversInRegistrationOrderWithFilters()
    {
        NotificationCenter center;
        QStringList log;
        QObject posterA, posterB, any, named, fromA;
        auto record = [&log](const char *tag) {
            return [&log, tag](const Notification &n) {
                log << QString("%1:%2:%3").arg(tag, n.name(), n.userInfo().value("n").toString());
            };
        };
        center.addObserver(&named, "ping", nullptr, record("named"));
        center.addObserver(&any, QString(), nullptr, record("any"));
        center.addObserver(&fromA, "ping", &posterA, record("fromA"));

        center.postNotificationName("ping", &posterA, {{"n", 1}});
        center.postNotificationName("ping", &posterB, {{"n", 2}});
        center.postNotificationName("pong");
        QCOMPARE(log, QStringList({"named:ping:1", "any:ping:1", "fromA:ping:1", "named:ping:2",
                                   "any:ping:2", "any:pong:"}));
    }

    void removalByObserverNameAndObject()
    {
        NotificationCenter center;
        QStringList log;
        QObject posterA, posterB, observer;
        const auto record = [&log](const Notification &n) { log << n.name(); };
        center.addObserver(&observer, "a", &posterA, record);
        center.addObserver(&observer, "a", &posterB, record);
        center.addObserver(&observer, "b", nullptr, record);

        center.removeObserver(&observer, "a", &posterA);
        center.postNotificationName("a", &posterA);
        center.postNotificationName("a", &posterB);
        QCOMPARE(log, QStringList({"a"}));
        center.removeObserver(&observer, "a", nullptr);  // any object
        QCOMPARE(center.observationCount(&observer), 1);
        center.removeObserver(&observer);
        center.postNotificationName("b");
        QCOMPARE(log, QStringList({"a"}));
    }

    void deliveryCopesWithObserversComingAndGoing()
    {
        NotificationCenter center;
        QStringList log;
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

    void extensionSharesTheDefaultCentersRegistrations()
    {
        // How a library's own center class "is" the default center.
        struct Extension : NotificationCenter
        {
            Extension() : NotificationCenter(SharesDefaultRegistrations{}) {}
        } extension;
        QObject observer;
        int heard = 0;
        extension.addObserver(&observer, "shared", nullptr, [&](const Notification &) { ++heard; });
        NotificationCenter::defaultCenter()->postNotificationName("shared");
        NotificationCenter::defaultCenter()->removeObserver(&observer);
        extension.postNotificationName("shared");
        QCOMPARE(heard, 1);
    }
};

VELMORA_TEST_MAIN(TestNotificationCenter)
#include "tst_notificationcenter.moc"
