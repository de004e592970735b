#include "Notification/TSKNotification.h"
#include "TestMain.h"

namespace {

std::optional<TSKNotification> parse(const char *url)
{
    return TSKNotification::notificationFromURL(QUrl(QString::fromUtf8(url)));
}

QVariantMap strings(std::initializer_list<std::pair<const char *, const char *>> entries)
{
    QVariantMap map;
    for (const auto &[key, value] : entries)
        map.insert(QString::fromUtf8(key), QString::fromUtf8(value));
    return map;
}

}  // namespace

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

    void tsmsgNamesThePathAndDecodesTheQuery()
    {
        const auto load = parse("tsmsg:///loadAdURL?url=http%3A%2F%2F127.0.0.1%2Fad%3Fa%3D1%26b%3D2&type=tiskos");
        QVERIFY(load);
        QCOMPARE(load->name(), QStringLiteral("loadAdURL"));
        QCOMPARE(*load->parameters(), strings({{"url", "http://127.0.0.1/ad?a=1&b=2"}, {"type", "tiskos"}}));

        // The host is not looked at; keys are lowercased, values are not.
        const auto click = parse("tsmsg://anything/click?URL=A%20B;Second=x");
        QCOMPARE(click->name(), QStringLiteral("click"));
        QCOMPARE(*click->parameters(), strings({{"url", "A B"}, {"second", "x"}}));

        const auto bare = parse("tsmsg:///close");
        QCOMPARE(bare->name(), QStringLiteral("close"));
        QVERIFY(bare->parameters()->isEmpty());

        QVERIFY(!parse("tsmsg:"));
        QVERIFY(!parse("http:///loadAdURL?url=x"));
    }

    void tiskosHostPicksTheAction()
    {
        const auto open = parse("tiskos://launch?url=http%3A%2F%2Fexample.org%2F&x=1");
        QCOMPARE(open->name(), QStringLiteral("open"));
        QCOMPARE(*open->parameters(), strings({{"a", "browser"}, {"u", "http://example.org/"}}));
        QCOMPARE(*parse("tiskos://launch")->parameters(), strings({{"a", "browser"}}));

        const auto close = parse("tiskos://closecanvas?x=1");
        QCOMPARE(close->name(), QStringLiteral("close"));
        QVERIFY(!close->parameters());

        const auto log = parse("tiskos://log?Msg=hello%20there&level=2");
        QCOMPARE(log->name(), QStringLiteral("log"));
        QCOMPARE(*log->parameters(), strings({{"msg", "hello there"}, {"level", "2"}}));

        for (const char *unknown : {"tiskos://click?url=x", "tiskos:///launch?url=x", "tiskos:"})
            QVERIFY2(!parse(unknown), unknown);
    }

    void descriptionNamesTheMessage()
    {
        const auto log = parse("tiskos://log?msg=hi");
        QCOMPARE(log->description(), QStringLiteral("TSKNotification<0x%1>: name:log parameters:{\n    msg = hi;\n}")
                                         .arg(quintptr(&*log), 0, 16));
        const auto close = parse("tiskos://closecanvas");
        QVERIFY(close->description().endsWith(QStringLiteral(": name:close parameters:(null)")));
    }
};

VELMORA_TEST_MAIN(TestNotification)
#include "tst_notification.moc"
