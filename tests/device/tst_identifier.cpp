#include "Device.h"
#include "PropertyList.h"
#include "TestMain.h"
#include "UserDefaults.h"
#include "Utility/TSKIdentifierUtilities.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <sys/utsname.h>

namespace {

const QVariantMap Metadata{{"itemName", "Velmora"}, {"itemId", qint64(123456)}, {"softwareVersionBundleId", "x"}};

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

}  // namespace

class TestIdentifier : public QObject
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
    }

    void osVersionComparisons_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QList<int>>("components");
        QTest::addColumn<QList<int>>("atLeast");
        QTest::addColumn<bool>("expected");
        QTest::newRow("5.0 vs 5.0.1") << "5.0" << QList<int>{5, 0, 0} << QList<int>{5, 0, 1} << false;
        QTest::newRow("4.3.3 vs 4.2.0") << "4.3.3" << QList<int>{4, 3, 3} << QList<int>{4, 2, 0} << true;
        QTest::newRow("minor decides") << "10.2" << QList<int>{10, 2, 0} << QList<int>{10, 3, 0} << false;
        QTest::newRow("leading digits") << "4b.2rc1.x" << QList<int>{4, 2, 0} << QList<int>{4, 2, 1} << false;
        QTest::newRow("distribution release") << "12" << QList<int>{12, 0, 0} << QList<int>{3, 0, 0} << true;
        QTest::newRow("huge component") << "99999999999999.1" << QList<int>{999999999, 1, 0} << QList<int>{3, 0, 0}
                                        << true;
    }

    void osVersionComparisons()
    {
        QFETCH(QString, version);
        QFETCH(QList<int>, components);
        QFETCH(QList<int>, atLeast);
        QFETCH(bool, expected);
        int major = -1, minor = -1, bugFix = -1;
        TSKIdentifierUtilities::getVersionMajorMinorBugFix(version, &major, &minor, &bugFix);
        QCOMPARE((QList<int>{major, minor, bugFix}), components);
        QCOMPARE(TSKIdentifierUtilities::isVersionAtLeastMajorMinorBug(version, atLeast[0], atLeast[1], atLeast[2]),
                 expected);
        TSKIdentifierUtilities::getVersionMajorMinorBugFix(version, nullptr, &minor, nullptr);
        QCOMPARE(minor, components[1]);
    }

    void parametersOfThisMachine()
    {
        QVERIFY(TSKIdentifierUtilities::isOSAtLeastMajorMinorBug(3, 0, 0));
        TSKIdentifierUtilities *utilities = TSKIdentifierUtilities::sharedInstance();
        const QVariantMap parameters = utilities->parameters();
        QCOMPARE(QStringList(parameters.keys()),
                 (QStringList{"app_name", "hl", "ios_metadata", "isu", "platform", "submodel", "u_audio", "u_h",
                              "u_sd", "u_so", "u_w"}));
        QCOMPARE(parameters.value("ios_metadata"), QVariant(Metadata));
        QCOMPARE(parameters.value("app_name").toString(), QStringLiteral("1.2.iphone.com.example.Velmora"));
        const QByteArray hash = QCryptographicHash::hash(Device::uniqueIdentifier().toUtf8(), QCryptographicHash::Md5);
        QCOMPARE(parameters.value("isu").toString(), QString::fromLatin1(hash.toHex().toUpper()));
        QCOMPARE(parameters.value("platform").toString(), QStringLiteral("Desktop"));
        utsname names{};
        uname(&names);
        QCOMPARE(parameters.value("submodel").toString(), QString::fromLatin1(names.machine));
        QCOMPARE(parameters.value("hl").toString(), QStringLiteral("en-gb"));
        QCOMPARE(parameters.value("u_audio").toString(),
                 QString::number(TSKIdentifierUtilities::audioRouteForDescription(Device::audioRoute())));
        QCOMPARE(parameters.value("u_so").toString(), QStringLiteral("p"));
        QCOMPARE(parameters.value("u_sd").toString(), QStringLiteral("1"));
        QCOMPARE(parameters.value("u_w").toString(), QStringLiteral("320"));
        QCOMPARE(parameters.value("u_h").toString(), QStringLiteral("480"));

        QCoreApplication::setApplicationVersion(QString());
        QCOMPARE(utilities->parameters().value("app_name").toString(), QStringLiteral("iphone.com.example.Velmora"));
        QCoreApplication::setApplicationVersion("1.2");
    }

    void deviceIdentifierForms()
    {
        TSKIdentifierUtilities *utilities = TSKIdentifierUtilities::sharedInstance();
        const QByteArray hash = HashedDeviceIdentifier();
        QCOMPARE(hash.size(), 16);
        QVERIFY(QRegularExpression("^[0-9A-F]{32}$").match(utilities->deviceIdentifier()).hasMatch());
        const QString base64 = utilities->deviceIdentifierBase64();
        QVERIFY(QRegularExpression("^[A-Za-z0-9_-]{22}$").match(base64).hasMatch());
        QCOMPARE(QByteArray::fromBase64(base64.toLatin1(), QByteArray::Base64UrlEncoding), hash);
    }

    void metadataIsADictionaryOrNothing_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QVariantMap>("expected");
        QTest::newRow("dictionary") << PropertyList::toXml(Metadata) << Metadata;
        QTest::newRow("array root") << PropertyList::toXml(QVariantList{1, 2}) << QVariantMap();
        QTest::newRow("truncated") << PropertyList::toXml(Metadata).left(60) << QVariantMap();
    }

    void metadataIsADictionaryOrNothing()
    {
        QFETCH(QByteArray, content);
        QFETCH(QVariantMap, expected);
        QTemporaryDir dir;
        writeFile(dir.filePath("meta.plist"), content);
        QCOMPARE(TSKIdentifierUtilities::readITunesMetadataFileAt(dir.filePath("meta.plist")), expected);
        QCOMPARE(TSKIdentifierUtilities::readITunesMetadataFileAt(dir.filePath("missing.plist")), QVariantMap());
    }

    void audioRouteCodes()
    {
        QCOMPARE(TSKIdentifierUtilities::audioRouteForDescription(std::nullopt), 1);
        const QList<std::pair<QString, int>> routes{{"", 3}, {"Headphone", 2}, {"Headset", 2}, {"headset", 5},
                                                    {"Speaker", 1}, {"HDA Intel PCH", 5}};
        for (const auto &[description, code] : routes)
            QCOMPARE(TSKIdentifierUtilities::audioRouteForDescription(description), code);
    }

    void preferredLanguageIsReadUntilThereIsOne()
    {
        UserDefaults &defaults = UserDefaults::standard();
        defaults.setObjectForKey(QVariantList(), UserDefaults::PreferredLanguagesKey);
        TSKIdentifierUtilities utilities;
        QVERIFY(utilities.locale().isNull());
        QVERIFY(!utilities.parameters().contains("hl"));

        defaults.setObjectForKey(QStringList{"pt-PT"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(utilities.locale(), QStringLiteral("pt-pt"));
        defaults.setObjectForKey(QStringList{"fr"}, UserDefaults::PreferredLanguagesKey);
        QCOMPARE(utilities.locale(), QStringLiteral("pt-pt"));
        defaults.setObjectForKey(QStringList{"en-GB", "fr"}, UserDefaults::PreferredLanguagesKey);
    }
};

VELMORA_TEST_MAIN(TestIdentifier)
#include "tst_identifier.moc"
