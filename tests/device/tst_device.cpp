#include "Device.h"
#include "Network/TSKNetworkChecker.h"
#include "PropertyList.h"
#include "Reachability.h"
#include "TestMain.h"
#include "UserDefaults.h"
#include "Utility/TSKIdentifierUtilities.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QCommandLineParser>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <sys/utsname.h>

using namespace Velmora::Platform;

namespace {

using R = QNetworkInformation::Reachability;
using T = QNetworkInformation::TransportMedium;

const QVariantMap Metadata{{"itemName", "Velmora"}, {"itemId", qint64(123456)}, {"softwareVersionBundleId", "x"}};

QString writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

}  // namespace

// What an ad request learns about this device and its network.
class TestDevice : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // The metadata file sits in the home, beside the documents folder.
        writeFile(QDir::homePath() + "/iTunesMetadata.plist", PropertyList::toXml(Metadata));
        UserDefaults::standard().setObjectForKey(QStringList{"en-GB", "fr"}, UserDefaults::PreferredLanguagesKey);
        QCoreApplication::setApplicationName("Velmora");
        QCoreApplication::setOrganizationDomain("example.com");
        QCoreApplication::setApplicationVersion("1.2");

        // A metadata file that is missing or not a dictionary gives an empty one.
        QTemporaryDir dir;
        const QString path = dir.filePath("meta.plist");
        QCOMPARE(TSKIdentifierUtilities::readITunesMetadataFileAt(path), QVariantMap());
        for (const QByteArray &notADictionary : {PropertyList::toXml(QVariantList{1}), PropertyList::toXml(Metadata).left(60)})
            QCOMPARE(TSKIdentifierUtilities::readITunesMetadataFileAt(writeFile(path, notADictionary)), QVariantMap());
    }

    void cleanup()
    {
        Reachability::setStateSource({});
        TSKNetworkConfiguration::setReachabilityHost(QString());
    }

    void parametersOfThisMachineAndItsLanguage()
    {
        QVERIFY(TSKIdentifierUtilities::isOSAtLeastMajorMinorBug(3, 0, 0));
        TSKIdentifierUtilities *utilities = TSKIdentifierUtilities::sharedInstance();
        const QVariantMap parameters = utilities->parameters();
        qInfo() << "parameters of this machine:" << parameters;
        utsname names{};
        uname(&names);
        const int audio = TSKIdentifierUtilities::audioRouteForDescription(Device::audioRoute());
        QCOMPARE(parameters, (QVariantMap{{"app_name", "1.2.iphone.com.example.Velmora"}, {"hl", "en-gb"},
                                          {"ios_metadata", Metadata},
                                          {"platform", "Desktop"}, {"submodel", QString::fromLatin1(names.machine)},
                                          {"u_audio", QString::number(audio)}, {"u_h", "480"}, {"u_sd", "1"},
                                          {"u_so", "p"}, {"u_w", "320"}}));
        // The identifier's two forms are the same bytes.
        const QByteArray identifier = QByteArray::fromHex(TSKIdentifierUtilities::deviceIdentifier().toLatin1());
        QCOMPARE(identifier.size(), 16);
        QCOMPARE(TSKIdentifierUtilities::deviceIdentifier(), QString::fromLatin1(identifier.toHex().toUpper()));
        QCOMPARE(TSKIdentifierUtilities::deviceIdentifierBase64(),
                 QString::fromLatin1(identifier.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals)));
        QCoreApplication::setApplicationVersion(QString());
        QCOMPARE(utilities->parameters().value("app_name").toString(), QStringLiteral("iphone.com.example.Velmora"));
        QCoreApplication::setApplicationVersion("1.2");

        // The preferred language is read until there is one.
        UserDefaults &defaults = UserDefaults::standard();
        defaults.setObjectForKey(QVariantList(), UserDefaults::PreferredLanguagesKey);
        TSKIdentifierUtilities fresh;
        QVERIFY(fresh.locale().isNull());
        QVERIFY(!fresh.parameters().contains("hl"));
        defaults.setObjectForKey(QStringList{"pt-PT"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(fresh.locale(), QStringLiteral("pt-pt"));
        defaults.setObjectForKey(QStringList{"fr"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(fresh.locale(), QStringLiteral("pt-pt"));
    }

    void osVersionComparisons()
    {
        // version, its components, the version compared with, whether it is at least that
        const QList<std::tuple<QString, QList<int>, QList<int>, bool>> cases{
            {"5.0", {5, 0, 0}, {5, 0, 1}, false},
            {"4.3.3", {4, 3, 3}, {4, 2, 0}, true},
            {"10.2", {10, 2, 0}, {10, 3, 0}, false},                // the minor decides
            {"4b.2rc1.x", {4, 2, 0}, {4, 2, 1}, false},             // leading digits only
            {"12", {12, 0, 0}, {3, 0, 0}, true},                    // a distribution release
            {"99999999999999.1", {999999999, 1, 0}, {3, 0, 0}, true}};
        for (const auto &[version, components, atLeast, expected] : cases) {
            int major = -1, minor = -1, bugFix = -1;
            TSKIdentifierUtilities::getVersionMajorMinorBugFix(version, &major, &minor, &bugFix);
            QCOMPARE((QList<int>{major, minor, bugFix}), components);
            QCOMPARE(TSKIdentifierUtilities::isVersionAtLeastMajorMinorBug(version, atLeast[0], atLeast[1], atLeast[2]),
                     expected);
            TSKIdentifierUtilities::getVersionMajorMinorBugFix(version, nullptr, &minor, nullptr);
            QCOMPARE(minor, components[1]);
        }
    }

    // The route is the first sound card's name; its code is case-sensitive.
    void audioRouteAndItsCode()
    {
        const QList<std::tuple<QByteArray, QString, int>> cases{  // cards (null: no sound system), route, code
            {" 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n                      HDA Intel PCH at 0xf7f10000 irq 32\n"
             " 1 [Headset        ]: USB-Audio - Headset\n", "HDA Intel PCH", 5},
            {" 0 [H]: USB-Audio - Head-set X\n", "Head-set X", 5},
            {" 0 [H]: USB-Audio - Headset\n", "Headset", 2},
            {" 0 [H]: USB-Audio - headset\n", "headset", 5},
            {" 0 [H]: USB-Audio - Headphone\n", "Headphone", 2},
            {" 0 [S]: HDA - Speaker\n", "Speaker", 1},
            {"--- no soundcards ---\n", "", 3},
            {QByteArray(), QString(), 1}};
        QTemporaryDir dir;
        for (const auto &[cards, route, code] : cases) {
            const QString path = cards.isNull() ? dir.filePath("absent") : writeFile(dir.filePath("cards"), cards);
            const std::optional<QString> read = Device::audioRoute(path);
            QCOMPARE(read.has_value(), !route.isNull());
            QCOMPARE(read.value_or(QString()), route);
            QCOMPARE(read.value_or(QString()).isNull(), route.isNull());
            QCOMPARE(TSKIdentifierUtilities::audioRouteForDescription(read), code);
        }
    }

    // State to flags to the checker's type, which looks only at the reachable and cellular bits.
    void flagsAndNetworkTypeFollowTheNetworkState()
    {
        const QList<std::tuple<QString, R, T, uint, int, QString>> cases{
            {"ads.example", R::Online, T::WiFi, 0x2u, 2, "wi"},
            {"ads.example", R::Online, T::Cellular, 0x40002u, 3, "ed"},
            {"ads.example", R::Local, T::WiFi, 0u, 1, QString()},
            {"ads.example", R::Disconnected, T::Unknown, 0u, 1, QString()},
            {"ads.example", R::Unknown, T::Unknown, 0x2u, 2, "wi"},     // no information: assume reachable
            {"127.0.0.1", R::Disconnected, T::Unknown, 0x2u, 2, "wi"},  // loopback is always reachable
            {"LocalHost", R::Disconnected, T::Cellular, 0x2u, 2, "wi"}};
        TSKNetworkChecker checker;
        for (const auto &[host, reachability, medium, flags, type, text] : cases) {
            QCOMPARE(Reachability::flagsFor(host, {reachability, medium}), flags);
            checker.setNetworkTypeFromFlags(flags);
            QCOMPARE(checker.networkType(), type);
            QCOMPARE(checker.networkTypeString(), text);
            QCOMPARE(checker.networkTypeString().isNull(), text.isNull());
        }
        checker.setNetworkTypeFromFlags(0x40000u);  // cellular but not reachable
        QCOMPARE(checker.networkType(), 1);
        checker.setNetworkTypeFromFlags(0x7u);
        QCOMPARE(checker.networkType(), 2);
        QCOMPARE(checker.changeCount(), 9u);  // every notification counts, changed or not
    }

    // The network checker hears the same first notification; one stopped
    // before its turn sends nothing.
    void firstNotificationComesOnTheNextTurnThenOnlyChanges()
    {
        Reachability::NetworkState state{R::Online, T::WiFi};
        Reachability::setStateSource([&state] { return state; });
        TSKNetworkConfiguration::setReachabilityHost("ads.example");  // remote, so the network state decides
        Reachability reachability("ads.example"), stopped("ads.example");
        TSKNetworkChecker checker;
        QSignalSpy spy(&reachability, &Reachability::flagsChanged), stoppedSpy(&stopped, &Reachability::flagsChanged);
        stopped.start();
        reachability.start();
        stopped.stop();
        checker.setEnabled(true);
        reachability.refresh();  // too early: the first notification has not gone out yet
        QCOMPARE(spy.count(), 0);
        QCOMPARE(checker.networkType(), 0);
        QVERIFY(checker.networkTypeString().isNull());
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 1, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(checker.changeCount(), 1u, 10000);
        QCOMPARE(spy.at(0).at(0).toUInt(), 0x2u);
        QCOMPARE(stoppedSpy.count(), 0);  // its turn came before the other's
        QCOMPARE(checker.networkTypeString(), QStringLiteral("wi"));

        reachability.refresh();
        QCOMPARE(spy.count(), 1);
        state = {R::Online, T::Cellular};
        reachability.refresh();
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.at(1).at(0).toUInt(), 0x40002u);
        reachability.stop();
        state = {R::Disconnected, T::Unknown};
        reachability.refresh();
        QCOMPARE(spy.count(), 2);

        checker.setEnabled(true);  // already on: keeps what it knows
        QCOMPARE(checker.networkType(), 2);
        checker.setEnabled(false);
        QCOMPARE(checker.networkType(), 0);
        QVERIFY(!checker.isEnabled());

        // The shared checker is on from the start and, by default, watches the house server on this machine.
        TSKNetworkConfiguration::setReachabilityHost(QString());
        QVERIFY(TSKNetworkChecker::sharedChecker()->isEnabled());
        QTRY_COMPARE_WITH_TIMEOUT(TSKNetworkChecker::sharedChecker()->networkTypeString(), QStringLiteral("wi"), 10000);
    }

    void configurationLayersDefaultsEnvironmentAndOptions()
    {
        using C = TSKNetworkConfiguration;
        const auto hosts = [] {
            return QStringList{C::staticContentHost(), C::adServerHost(), C::reachabilityHost(), C::clickTrackingDomainSuffix()};
        };
        QCOMPARE(hosts(), QStringList({"127.0.0.1:8470", "127.0.0.1:8470", "127.0.0.1", "127.0.0.1"}));
        qputenv("VELMORA_AD_HOST", "ads.example.net:8080");
        qputenv("VELMORA_STATIC_HOST", "static.example.net");
        QCOMPARE(hosts(), QStringList({"static.example.net", "ads.example.net:8080", "ads.example.net", "ads.example.net"}));
        QCommandLineParser parser;
        parser.addOptions(C::commandLineOptions());
        QVERIFY(parser.parse({"velmora", "--static-host", "cdn.example.org", "--click-domain=example.org"}));
        C::applyCommandLine(parser);
        QCOMPARE(hosts(), QStringList({"cdn.example.org", "ads.example.net:8080", "ads.example.net", "example.org"}));
        qunsetenv("VELMORA_AD_HOST");
        qunsetenv("VELMORA_STATIC_HOST");
        C::setClickTrackingDomainSuffix(QString());
    }
};

VELMORA_TEST_MAIN(TestDevice)
#include "tst_device.moc"
