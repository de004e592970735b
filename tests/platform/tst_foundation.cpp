#include "Geometry.h"
#include "NotificationCenter.h"
#include "TestMain.h"
#include "ViewGeometry.h"

#include <QLabel>

// The small facilities the game and the ad library stand on: geometry and notifications.
class TestFoundation : public QObject
{
    Q_OBJECT
private slots:
    void closedExtentRule_data()
    {
        QTest::addColumn<QRectF>("a");
        QTest::addColumn<QRectF>("b");
        QTest::addColumn<bool>("intersect");
        QTest::newRow("overlap") << QRectF(0, 0, 50, 50) << QRectF(40, 40, 50, 50) << true;
        QTest::newRow("apart") << QRectF(0, 0, 50, 50) << QRectF(51, 0, 50, 50) << false;
        QTest::newRow("touching right edge") << QRectF(0, 0, 50, 50) << QRectF(50, 10, 5, 5) << true;
        QTest::newRow("overlap on x only") << QRectF(0, 0, 50, 50) << QRectF(10, 60, 5, 5) << false;
        QTest::newRow("point inside") << QRectF(0, 0, 50, 50) << QRectF(25, 25, 0, 0) << true;
        QTest::newRow("point on edge") << QRectF(0, 0, 50, 50) << QRectF(0, 50, 0, 0) << true;
        QTest::newRow("taken pick-up at origin") << QRectF(0, 0, 0, 0) << QRectF(-10, -10, 10, 10) << true;
        QTest::newRow("parked pick-up") << QRectF(-500, 0, 0, 0) << QRectF(0, 0, 320, 480) << false;
        QTest::newRow("negative size") << QRectF(60, 60, -20, -20) << QRectF(0, 0, 40, 40) << true;
    }

    void closedExtentRule()
    {
        QFETCH(QRectF, a);
        QFETCH(QRectF, b);
        QFETCH(bool, intersect);
        QCOMPARE(Geometry::rectIntersectsRect(a, b), intersect);
        QCOMPARE(Geometry::rectIntersectsRect(b, a), intersect);
    }

    void viewFramesKeepFractionsOfPoints()
    {
        QWidget parent;
        auto *ball = new QLabel(&parent);
        ViewGeometry::setFrame(ball, QRectF(0, 470, 20, 20));
        for (int tick = 0; tick < 3; ++tick)
            ViewGeometry::setCenter(ball, ViewGeometry::center(ball) + QPointF(5.5, 4.5));
        QCOMPARE(ViewGeometry::frame(ball), QRectF(16.5, 483.5, 20, 20));
        QCOMPARE(ball->geometry(), ViewGeometry::frame(ball).toRect());

        // A zero-size frame stays zero even when the widget cannot be that small.
        ball->setMinimumSize(50, 50);
        ViewGeometry::setFrame(ball, QRectF(0, 0, 0, 0));
        QCOMPARE(ViewGeometry::frame(ball), QRectF(0, 0, 0, 0));
        ball->move(7, 8);  // moved behind our back: the widget is the truth again
        QCOMPARE(ViewGeometry::frame(ball), QRectF(ball->geometry()));
    }

    void deliveryFiltersAndRemoval()
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
};

VELMORA_TEST_MAIN(TestFoundation)
#include "tst_foundation.moc"
