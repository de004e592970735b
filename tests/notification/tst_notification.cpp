#include "Notification/TSKNotification.h"
#include "TestMain.h"

class TestNotification : public QObject
{
    Q_OBJECT
private slots:
    void recognisesOnlyTheTwoBridgeSchemes()
    {
        const QUrl tsmsg(QStringLiteral("tsmsg:///loadAdURL?url=x"));
        const QUrl tiskos(QStringLiteral("tiskos://launch?url=x"));
        QVERIFY(TSKNotification::isTSMSGNotificationURL(tsmsg));
        QVERIFY(!TSKNotification::isTiskosNotificationURL(tsmsg));
        QVERIFY(TSKNotification::isTiskosNotificationURL(tiskos));
        QVERIFY(!TSKNotification::isTSMSGNotificationURL(tiskos));
        QVERIFY(TSKNotification::isNotificationURL(tsmsg));
        QVERIFY(TSKNotification::isNotificationURL(tiskos));
        for (const char *other : {"http://tsmsg/loadAdURL", "tsmsgx:///a", "about:blank", "", "tiskos"})
            QVERIFY2(!TSKNotification::isNotificationURL(QUrl(QString::fromUtf8(other))), other);
    }
};

VELMORA_TEST_MAIN(TestNotification)
#include "tst_notification.moc"
