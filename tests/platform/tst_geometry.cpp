#include "Geometry.h"
#include "TestMain.h"
#include "ViewGeometry.h"

#include <QLabel>

class TestGeometry : public QObject
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
        QTest::newRow("touching corner") << QRectF(0, 0, 50, 50) << QRectF(50, 50, 5, 5) << true;
        QTest::newRow("overlap on x only") << QRectF(0, 0, 50, 50) << QRectF(10, 60, 5, 5) << false;
        QTest::newRow("point inside") << QRectF(0, 0, 50, 50) << QRectF(25, 25, 0, 0) << true;
        QTest::newRow("point on edge") << QRectF(0, 0, 50, 50) << QRectF(0, 50, 0, 0) << true;
        QTest::newRow("point outside") << QRectF(0, 0, 50, 50) << QRectF(-1, 0, 0, 0) << false;
        QTest::newRow("taken pick-up at origin") << QRectF(0, 0, 0, 0) << QRectF(-10, -10, 10, 10) << true;
        QTest::newRow("parked pick-up") << QRectF(-500, 0, 0, 0) << QRectF(0, 0, 320, 480) << false;
        QTest::newRow("same point") << QRectF(3, 4, 0, 0) << QRectF(3, 4, 0, 0) << true;
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
        QCOMPARE(ViewGeometry::center(ball), QPointF(26.5, 493.5));
        QCOMPARE(ViewGeometry::frame(ball).size(), QSizeF(20, 20));
        QCOMPARE(ball->geometry(), ViewGeometry::frame(ball).toRect());

        // A zero-size frame stays zero even when the widget cannot be that small.
        ball->setMinimumSize(50, 50);
        ViewGeometry::setFrame(ball, QRectF(0, 0, 0, 0));
        QCOMPARE(ViewGeometry::frame(ball), QRectF(0, 0, 0, 0));

        ball->move(7, 8);  // moved behind our back: the widget is the truth again
        QCOMPARE(ViewGeometry::frame(ball), QRectF(ball->geometry()));
        QCOMPARE(ViewGeometry::frame(nullptr), QRectF());
    }
};

VELMORA_TEST_MAIN(TestGeometry)
#include "tst_geometry.moc"
