#include "AdServerProcess.h"
#include "EventLoopWait.h"
#include "HttpTestSupport.h"
#include "PersistentCookieJar.h"
#include "Privacy/AdvertisingIdentifier.h"
#include "Request/TSKRequestPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "UserDefaults.h"

#include <VelmoraAds/BannerWidget.h>
#include <VelmoraAds/PrivacySettings.h>
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaProperty>
#include <QSettings>
#include <QSignalSpy>

using Velmora::Ads::AdvertisingIdentifier;
using Velmora::Ads::BannerWidget;
using Velmora::Ads::PrivacySettings;
using Velmora::Platform::PersistentCookieJar;
using Velmora::Platform::UserDefaults;
using testsupport::AdServerProcess;
using testsupport::waitUntil;

namespace {

const QStringList kPersonal{"isu", "cust_gender", "cust_age", "uloc"};
constexpr int kHouseVendor = 4242;

// Strings and flags made by the IAB's own encoder (tests/data/consent).
QJsonObject consentCase(const QString &name)
{
    QFile file(QStringLiteral(VELMORA_TEST_DATA "/consent/strings.json"));
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll())["cases"][name].toObject();
}

QString consentString(const QString &name)
{
    return consentCase(name)["tcString"].toString();
}

// What a consent tool leaves in the program's settings for a person the GDPR covers.
QVariantMap storedConsent(const QString &name)
{
    const QJsonObject made = consentCase(name);
    return {{"IABTCF_gdprApplies", 1},
            {"IABTCF_TCString", made["tcString"].toString()},
            {"IABTCF_PurposeConsents", made["purposeConsents"].toString()},
            {"IABTCF_VendorConsents", made["vendorConsents"].toString()},
            {"IABTCF_SpecialFeaturesOptIns", made["specialFeatureOptIns"].toString()}};
}

QVariantMap sentConsent(const QString &name)
{
    return {{"gdpr_consent", consentString(name)}};
}

// The four flags every request carries, with what a case adds.
QVariantMap flags(const char *gdpr, const char *npa, QVariantMap more = {})
{
    for (const auto &[key, value] : {std::pair{"gdpr", gdpr}, {"npa", npa}, {"coppa", "0"}, {"tfua", "0"}}) {
        if (!more.contains(key))
            more.insert(key, value);
    }
    return more;
}

// No value set through the API and no key a consent tool left: no signal at all.
void forgetPrivacyChoices()
{
    QSettings().clear();
    PrivacySettings *settings = PrivacySettings::instance();
    const QMetaObject &meta = PrivacySettings::staticMetaObject;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        property.isResettable() ? property.reset(settings) : property.write(settings, false);
    }
}

}  // namespace

class TestPrivacy : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("velmora-tests");
        QVERIFY(server.isRunning());
        TSKNetworkConfiguration::setStaticContentHost(server.host());
        TSKNetworkConfiguration::setAdServerHost(server.host());
        TSKNetworkConfiguration::setVendorId(kHouseVendor);
        window.resize(320, 480);
        banner->setAdUnitId("a1f3c29b07d5e64");
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }

    void init() { forgetPrivacyChoices(); }

    void eachConsentStateSendsWhatItAllows_data()
    {
        QTest::addColumn<QVariantMap>("stored");     // keys a consent tool left
        QTest::addColumn<QVariantMap>("chosen");     // properties the program set
        QTest::addColumn<QStringList>("personal");   // what of kPersonal goes
        QTest::addColumn<QVariantMap>("flagged");    // the signals sent
        const QVariantMap full = storedConsent("full");
        const QVariantMap fullSent = sentConsent("full");
        QTest::newRow("no signal") << QVariantMap() << QVariantMap() << QStringList() << flags("0", "1");
        QTest::newRow("GDPR, no consent string")
            << QVariantMap{{"IABTCF_gdprApplies", 1}} << QVariantMap() << QStringList() << flags("1", "1");
        QTest::newRow("full consent, a consent tool's keys") << full << QVariantMap() << kPersonal << flags("1", "0", fullSent);
        QTest::newRow("full consent, a string alone through the API")
            << QVariantMap() << QVariantMap{{"gdprApplies", true}, {"consentString", consentString("full")}} << kPersonal
            << flags("1", "0", fullSent);
        QTest::newRow("without purpose 1") << storedConsent("withoutPurpose1") << QVariantMap()
                                           << QStringList{"cust_gender", "cust_age", "uloc"}
                                           << flags("1", "0", sentConsent("withoutPurpose1"));
        QTest::newRow("without personalisation") << storedConsent("withoutPersonalisation") << QVariantMap()
                                                 << QStringList() << flags("1", "1", sentConsent("withoutPersonalisation"));
        QTest::newRow("without special feature 1")
            << storedConsent("withoutSpecialFeature1") << QVariantMap() << QStringList{"isu", "cust_gender", "cust_age"}
            << flags("1", "0", sentConsent("withoutSpecialFeature1"));
        QTest::newRow("without the network's vendor") << storedConsent("withoutHouseVendor") << QVariantMap()
                                                      << QStringList() << flags("1", "1", sentConsent("withoutHouseVendor"));
        QVariantMap childSent = fullSent;
        childSent.insert("coppa", "1");
        QTest::newRow("child-directed, full consent")
            << full << QVariantMap{{"childDirected", true}} << QStringList() << flags("1", "1", childSent);
        QTest::newRow("under the age of consent, personalised")
            << QVariantMap() << QVariantMap{{"personalisedAdsAllowed", true}, {"underAgeOfConsent", true}}
            << QStringList() << flags("0", "1", {{"tfua", "1"}});
        QTest::newRow("US opt-out, personalised")
            << QVariantMap{{"IABUSPrivacy_String", "1YYN"}} << QVariantMap{{"personalisedAdsAllowed", true}}
            << QStringList{"cust_gender", "cust_age", "uloc"} << flags("0", "0", {{"us_privacy", "1YYN"}});
        // A GPP string is forwarded, never read.
        QTest::newRow("personalised, GPP forwarded")
            << QVariantMap{{"IABGPP_HDR_GppString", "opaque~text"}, {"IABGPP_GppSID", "2_7"}}
            << QVariantMap{{"personalisedAdsAllowed", true}} << kPersonal
            << flags("0", "0", {{"gpp", "opaque~text"}, {"gpp_sid", "2_7"}});
        QTest::newRow("non-personalised") << QVariantMap() << QVariantMap{{"personalisedAdsAllowed", false}}
                                          << QStringList() << flags("0", "1");
        QTest::newRow("the API over the consent tool")
            << full << QVariantMap{{"consentString", consentString("nothing")}} << QStringList()
            << flags("1", "1", sentConsent("nothing"));
    }

    // One targeted request per state.
    void eachConsentStateSendsWhatItAllows()
    {
        QFETCH(QVariantMap, stored);
        QFETCH(QVariantMap, chosen);
        QFETCH(QStringList, personal);
        QFETCH(QVariantMap, flagged);
        QSettings settings;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            settings.setValue(it.key(), it.value());
        for (auto it = chosen.cbegin(); it != chosen.cend(); ++it)
            QVERIFY(PrivacySettings::instance()->setProperty(qPrintable(it.key()), it.value()));

        const QUrlQuery sent = load();
        qInfo("%s: %s", QTest::currentDataTag(), qPrintable(sent.toString(QUrl::FullyDecoded)));
        for (const QString &key : kPersonal)
            QVERIFY2(sent.hasQueryItem(key) == personal.contains(key), qPrintable(key));
        QVERIFY(sent.hasQueryItem("kw"));  // the placement's own words always go
        const QStringList signalKeys{"gdpr", "gdpr_consent", "gpp", "gpp_sid", "us_privacy", "coppa", "tfua", "npa"};
        for (const QString &key : signalKeys)
            QCOMPARE(sent.queryItemValue(key, QUrl::FullyDecoded), flagged.value(key).toString());
    }

    void identifierResetsAndWithdrawalDeletesWhatConsentKept()
    {
        PrivacySettings *privacy = PrivacySettings::instance();
        privacy->setPersonalisedAdsAllowed(true);
        const QString first = load().queryItemValue("isu");
        QCOMPARE(first.size(), 32);
        privacy->resetIdentifier();
        const QString second = load().queryItemValue("isu");
        QCOMPARE(second.size(), 32);
        QVERIFY(second != first);

        HttpTestServer tracker;
        tracker.reply("/pixel", 200, {{"Set-Cookie", "seen=1; Max-Age=31536000; Path=/"}});
        TSKClickTracker pixel;
        TrackerRecorder heard;
        pixel.setDelegate(&heard);
        const QString cookieFile = PersistentCookieJar::defaultFilePath();
        QVERIFY(track(pixel, heard, tracker.url("/pixel")));
        QVERIFY(QFile::exists(cookieFile));

        privacy->setPersonalisedAdsAllowed(false);
        QVERIFY(waitUntil([&] { return !QFile::exists(cookieFile); }));
        QVERIFY(!AdvertisingIdentifier::shared().exists());
        QFile defaults(UserDefaults::standard().filePath());
        QVERIFY(defaults.open(QIODevice::ReadOnly));
        QVERIFY(!defaults.readAll().toUpper().contains(second.toLatin1()));
        const QUrlQuery withdrawn = load();
        QVERIFY(!withdrawn.hasQueryItem("isu"));
        QCOMPARE(withdrawn.queryItemValue("npa"), QStringLiteral("1"));
        QVERIFY(!AdvertisingIdentifier::shared().exists());

        // Cookies still work for the session, in memory.
        QVERIFY(track(pixel, heard, tracker.url("/pixel")));
        QVERIFY(track(pixel, heard, tracker.url("/pixel")));
        QCOMPARE(tracker.requestsTo("/pixel").last().header("Cookie"), QByteArray("seen=1"));
        QVERIFY(!QFile::exists(cookieFile));
    }

    void identifierBelongsToTheProgramNotTheMachine()
    {
        QTemporaryDir dir;
        UserDefaults gameStore(dir.filePath("game.ini")), notesStore(dir.filePath("notes.ini"));
        AdvertisingIdentifier game(gameStore), notes(notesStore);
        const QByteArray gameBytes = game.bytes();
        QCOMPARE(gameBytes.size(), 16);
        QVERIFY(notes.bytes() != gameBytes);
        QCOMPARE(AdvertisingIdentifier(gameStore).bytes(), gameBytes);
        QFile machine(QStringLiteral("/etc/machine-id"));
        QVERIFY(machine.open(QIODevice::ReadOnly));
        const QByteArray machineId = machine.readAll();
        for (const QByteArray &text : {machineId, machineId.trimmed()}) {
            for (const auto algorithm : {QCryptographicHash::Md5, QCryptographicHash::Sha256}) {
                const QByteArray digest = QCryptographicHash::hash(text, algorithm).left(16);
                QVERIFY(digest != gameBytes && digest != notes.bytes());
            }
        }
        game.reset();
        QVERIFY(game.bytes() != gameBytes);
        game.erase();
        QVERIFY(!game.exists());
    }

    void statisticsOfEarlierLaunchesGoOnlyWithConsent()
    {
        for (const bool consent : {false, true}) {
            // What an earlier launch left: a click and the time since its first request.
            TSKStatistics::releaseSharedStatistics();
            TSKStatistics::sharedStatistics()->incrementClickCount();
            TSKStatistics::sharedStatistics()->startTimingNamed("ptime");
            TSKStatistics::sharedStatistics()->synchronize();
            TSKStatistics::releaseSharedStatistics();
            PrivacySettings::instance()->setPersonalisedAdsAllowed(consent);
            const auto request = TSKRequest::request();
            const QVariantMap sent = TSKRequestPrivate::from(request.get())->parameters();
            QCOMPARE(sent.contains("pcc"), consent);
            QCOMPARE(sent.contains("ptime"), consent);
            QCOMPARE(UserDefaults::standard().dictionaryForKey("tiskos_stats_shared").isEmpty(), !consent);
        }
    }

    void settingsAnnounceRealChangesAndTheirOwnValuesWin()
    {
        PrivacySettings *privacy = PrivacySettings::instance();
        QSettings().setValue("IABTCF_TCString", consentString("full"));
        QSettings().setValue("IABTCF_gdprApplies", "1");
        QCOMPARE(privacy->consentString(), consentString("full"));
        QVERIFY(privacy->gdprApplies());
        QSignalSpy strings(privacy, &PrivacySettings::consentStringChanged);
        privacy->setConsentString(consentString("full"));  // the value in force already
        privacy->setConsentString(consentString("nothing"));
        QCOMPARE(privacy->consentString(), consentString("nothing"));
        privacy->resetConsentString();
        QCOMPARE(strings, (QList<QVariantList>{{consentString("nothing")}, {consentString("full")}}));
        QSignalSpy applies(privacy, &PrivacySettings::gdprAppliesChanged);
        privacy->setGdprApplies(true);
        privacy->setGdprApplies(false);
        const QMetaObject &meta = PrivacySettings::staticMetaObject;
        QVERIFY(meta.property(meta.indexOfProperty("gdprApplies")).reset(privacy));  // as QML resets it
        QCOMPARE(applies, (QList<QVariantList>{{false}, {true}}));
    }

private:
    // Loads a targeted request and answers what reached the ad server: what
    // it kept, and what the request's own signals made it withhold.
    QUrlQuery load()
    {
        const auto request = TSKRequest::request();
        request->setGender(TSKGender::Female);
        request->setBirthdayWithMonthDayYear(5, 17, 1990);
        request->addKeyword("arcade");
        request->setLocationWithLatitudeLongitudeAccuracy(52.52f, 13.405f, 30.f);
        const qsizetype before = server.requestsTo("/ad").size();
        banner->load(*request);
        if (!waitUntil([&] { return server.requestsTo("/ad").size() > before; }))
            return {};
        waitUntil([&] { return banner->state() != BannerWidget::State::Loading; });
        const QJsonObject logged = server.requestsTo("/ad").last(), kept = logged["query"].toObject();
        QUrlQuery sent;
        for (auto it = kept.begin(); it != kept.end(); ++it)
            sent.addQueryItem(it.key(), it.value().toString());
        for (const QJsonValue withheld : logged["withheld"].toArray())
            sent.addQueryItem(withheld.toString(), QStringLiteral("withheld"));
        return sent;
    }

    AdServerProcess server;
    QWidget window;
    BannerWidget *banner = new BannerWidget(&window);
};

VELMORA_TEST_MAIN(TestPrivacy)
#include "tst_privacy.moc"
