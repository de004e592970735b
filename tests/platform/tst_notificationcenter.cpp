#include "NotificationCenter.h"
#include "TestMain.h"

#include <QStringList>

namespace {

// Records what it hears as "<tag>:<name>".
class Listener : public QObject
{
public:
    explicit Listener(QStringList *log, QString tag) : log_(log), tag_(std::move(tag)) {}
    void heard(const Notification &n) { log_->append(tag_ + ":" + n.name()); }

private:
    QStringList *log_;
    QString tag_;
};

}  // namespace

class TestNotificationCenter : public QObject
{
    Q_OBJECT
private slots:
    void deliversInRegistrationOrderWithFilters()
    {
        NotificationCenter center;
        QStringList log;
        QObject posterA, posterB;
        Listener any(&log, "any"), named(&log, "named"), fromA(&log, "fromA");
        center.addObserver(&named, &Listener::heard, "ping");
        center.addObserver(&any, &Listener::heard, QString());
        center.addObserver(&fromA, &Listener::heard, "ping", &posterA);

        center.postNotificationName("ping", &posterA);
        center.postNotificationName("ping", &posterB);
        center.postNotificationName("pong", nullptr);
        QCOMPARE(log, QStringList({"named:ping", "any:ping", "fromA:ping", "named:ping",
                                   "any:ping", "any:pong"}));
    }

    void carriesObjectAndUserInfo()
    {
        NotificationCenter center;
        QObject observer, poster;
        Notification received;
        center.addObserver(&observer, "data", nullptr, [&](const Notification &n) { received = n; });
        center.postNotificationName("data", &poster, {{"url", "http://x/"}, {"n", 3}});
        QCOMPARE(received.object(), &poster);
        QCOMPARE(received.userInfo().value("url").toString(), QString("http://x/"));
        QCOMPARE(received.userInfo().value("n").toInt(), 3);
    }

    void removalByObserverNameAndObject()
    {
        NotificationCenter center;
        QStringList log;
        QObject posterA, posterB;
        Listener l(&log, "l");
        center.addObserver(&l, &Listener::heard, "a", &posterA);
        center.addObserver(&l, &Listener::heard, "a", &posterB);
        center.addObserver(&l, &Listener::heard, "b");
        QCOMPARE(center.observationCount(&l), 3);

        center.removeObserver(&l, "a", &posterA);
        center.postNotificationName("a", &posterA);
        center.postNotificationName("a", &posterB);
        QCOMPARE(log, QStringList({"l:a"}));

        center.removeObserver(&l, "a", nullptr);  // any object
        QCOMPARE(center.observationCount(&l), 1);
        center.removeObserver(&l);
        center.postNotificationName("b");
        QCOMPARE(log, QStringList({"l:a"}));
    }

    void destroyedObserversAreSkipped()
    {
        NotificationCenter center;
        QStringList log;
        auto *gone = new Listener(&log, "gone");
        Listener stays(&log, "stays");
        center.addObserver(gone, &Listener::heard, "n");
        center.addObserver(&stays, &Listener::heard, "n");
        delete gone;
        center.postNotificationName("n");
        QCOMPARE(log, QStringList({"stays:n"}));
    }

    void handlersMayChangeRegistrationsWhileDelivering()
    {
        NotificationCenter center;
        QStringList log;
        QObject first, second, late;
        center.addObserver(&first, "n", nullptr, [&](const Notification &) {
            log << "first";
            center.removeObserver(&second);
            center.addObserver(&late, "n", nullptr, [&](const Notification &) { log << "late"; });
        });
        center.addObserver(&second, "n", nullptr, [&](const Notification &) { log << "second"; });
        center.postNotificationName("n");
        QCOMPARE(log, QStringList({"first"}));  // removed one skipped, added one waits
        center.removeObserver(&first);
        center.postNotificationName("n");
        QCOMPARE(log, QStringList({"first", "late"}));
    }

    void extensionSharesTheDefaultCentersRegistrations()
    {
        // What a library's own center class does to "be" the default center.
        struct Extension : NotificationCenter
        {
            Extension() : NotificationCenter(SharesDefaultRegistrations{}) {}
        } extension;
        QVERIFY(NotificationCenter::defaultCenter() == NotificationCenter::defaultCenter());

        QObject observer;
        int heard = 0;
        extension.addObserver(&observer, "shared", nullptr, [&](const Notification &) { ++heard; });
        NotificationCenter::defaultCenter()->postNotificationName("shared");
        QCOMPARE(heard, 1);
        NotificationCenter::defaultCenter()->removeObserver(&observer);
        extension.postNotificationName("shared");
        QCOMPARE(heard, 1);
    }
};

VELMORA_TEST_MAIN(TestNotificationCenter)
#include "tst_notificationcenter.moc"
