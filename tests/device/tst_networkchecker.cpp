#include "Network/TSKNetworkChecker.h"
#include "Reachability.h"
#include "TestMain.h"
#include "Utility/TSKNetworkConfiguration.h"

#include <QCommandLineParser>

namespace {

using R = QNetworkInformation::Reachability;
using T = QNetworkInformation::TransportMedium;

}  // namespace

class TestNetworkChecker : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        // A remote host, so the network state decides.
        TSKNetworkConfiguration::setReachabilityHost("ads.example");
        Reachability::setStateSource([] { return Reachability::NetworkState{R::Online, T::Cellular}; });
    }

    void cleanup()
    {
        Reachability::setStateSource({});
        TSKNetworkConfiguration::setReachabilityHost(QString());
    }

    void typeIsUnknownUntilTheFirstNotification()
    {
        TSKNetworkChecker checker;
        checker.setEnabled(true);
        QVERIFY(checker.isEnabled());
        QCOMPARE(checker.networkType(), 0);
        QVERIFY(checker.networkTypeString().isNull());
        QCOMPARE(checker.changeCount(), 0u);

        QTRY_COMPARE_WITH_TIMEOUT(checker.changeCount(), 1u, 10000);
        QCOMPARE(checker.networkTypeString(), QStringLiteral("ed"));

        checker.setEnabled(true);  // already on: keeps what it knows
        QCOMPARE(checker.networkType(), 3);
        checker.setEnabled(false);
        QCOMPARE(checker.networkType(), 0);
        QVERIFY(!checker.isEnabled());
    }

    void flagsGiveTheType_data()
    {
        QTest::addColumn<uint>("flags");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("text");
        QTest::newRow("cellular") << 0x40002u << 3 << "ed";
        QTest::newRow("local network") << 0x2u << 2 << "wi";
        QTest::newRow("none") << 0u << 1 << QString();
        QTest::newRow("cellular bit alone") << 0x40000u << 1 << QString();
        QTest::newRow("other bits ignored") << 0x2u + 0x4u + 0x1u << 2 << "wi";
    }

    void flagsGiveTheType()
    {
        QFETCH(uint, flags);
        QFETCH(int, type);
        QFETCH(QString, text);
        TSKNetworkChecker checker;
        checker.setNetworkTypeFromFlags(0x2);
        checker.setNetworkTypeFromFlags(flags);
        QCOMPARE(checker.networkType(), type);
        QCOMPARE(checker.networkTypeString(), text);
        QCOMPARE(checker.networkTypeString().isNull(), text.isNull());
        QCOMPARE(checker.changeCount(), 2u);
    }

    void sharedCheckerIsEnabledAndSeesTheHouseServer()
    {
        TSKNetworkConfiguration::setReachabilityHost(QString());
        Reachability::setStateSource([] { return Reachability::NetworkState{R::Disconnected, T::Unknown}; });
        TSKNetworkChecker *shared = TSKNetworkChecker::sharedChecker();
        QCOMPARE(shared, TSKNetworkChecker::sharedChecker());
        QVERIFY(shared->isEnabled());
        // The default reachability host is the house server on this machine.
        QTRY_COMPARE_WITH_TIMEOUT(shared->networkTypeString(), QStringLiteral("wi"), 10000);
    }

    void configurationLayersDefaultsEnvironmentAndOptions()
    {
        TSKNetworkConfiguration::setReachabilityHost(QString());
        QCOMPARE(TSKNetworkConfiguration::staticContentHost(), QStringLiteral("127.0.0.1:8470"));
        QCOMPARE(TSKNetworkConfiguration::adServerHost(), QStringLiteral("127.0.0.1:8470"));
        QCOMPARE(TSKNetworkConfiguration::reachabilityHost(), QStringLiteral("127.0.0.1"));
        QCOMPARE(TSKNetworkConfiguration::clickTrackingDomainSuffix(), QStringLiteral("127.0.0.1"));

        qputenv("VELMORA_AD_HOST", "ads.example.net:8080");
        qputenv("VELMORA_STATIC_HOST", "static.example.net");
        QCOMPARE(TSKNetworkConfiguration::adServerHost(), QStringLiteral("ads.example.net:8080"));
        QCOMPARE(TSKNetworkConfiguration::reachabilityHost(), QStringLiteral("ads.example.net"));
        QCOMPARE(TSKNetworkConfiguration::clickTrackingDomainSuffix(), QStringLiteral("ads.example.net"));

        QCommandLineParser parser;
        parser.addOptions(TSKNetworkConfiguration::commandLineOptions());
        QVERIFY(parser.parse({"velmora", "--static-host", "cdn.example.org", "--click-domain=example.org"}));
        TSKNetworkConfiguration::applyCommandLine(parser);
        QCOMPARE(TSKNetworkConfiguration::staticContentHost(), QStringLiteral("cdn.example.org"));
        QCOMPARE(TSKNetworkConfiguration::clickTrackingDomainSuffix(), QStringLiteral("example.org"));
        QCOMPARE(TSKNetworkConfiguration::adServerHost(), QStringLiteral("ads.example.net:8080"));

        qunsetenv("VELMORA_AD_HOST");
        qunsetenv("VELMORA_STATIC_HOST");
        TSKNetworkConfiguration::setClickTrackingDomainSuffix(QString());
    }
};

VELMORA_TEST_MAIN(TestNetworkChecker)
#include "tst_networkchecker.moc"
