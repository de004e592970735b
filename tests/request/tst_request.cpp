#include "Request/TSKDeviceSignals.h"
#include <VelmoraAds/PrivacySettings.h>
#include <VelmoraAds/TSKRequestError.h>
#include "Request/TSKRequestPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "Utility/TSKIdentifierUtilities.h"
#include "Utility/TSKLocation.h"
#include "Utility/TSKMacros.h"
#include "Utility/TSKPrivateUtilities.h"

#include <openssl/evp.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTimer>
#include <QtEndian>

using namespace Velmora::Platform;

namespace {

constexpr double fixedTimestamp = 1700000000.25;  // 2023-11-14 22:13:20.25 UTC

struct Deciphered
{
    QByteArray vector, plain;  // the plain text still padded
    qint32 word(int index) const { return qFromLittleEndian<qint32>(vector.constData() + 4 * index); }
};

// The ad server's side: strip the prefix, split off the vector, decipher.
std::optional<Deciphered> decipher(const QString &encoded)
{
    const auto bytes = QByteArray::fromBase64Encoding(encoded.mid(3).toLatin1(), QByteArray::Base64UrlEncoding
                                                          | QByteArray::AbortOnBase64DecodingErrors);
    if (!encoded.startsWith(QStringLiteral("e1+")) || encoded.endsWith(QLatin1Char('=')) || !bytes
        || bytes.decoded.size() < 32 || bytes.decoded.size() % 16)
        return std::nullopt;
    const QByteArray vector = bytes.decoded.left(16), cipher = bytes.decoded.mid(16);
    const QByteArray key = QByteArray::fromHex("5be2c7a0193d4f86e1a27c0b94d3f658");
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, reinterpret_cast<const uchar *>(key.data()),
                       reinterpret_cast<const uchar *>(vector.data()));
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    QByteArray plain(cipher.size(), Qt::Uninitialized);
    int written = 0;
    if (EVP_DecryptUpdate(context.get(), reinterpret_cast<uchar *>(plain.data()), &written,
                          reinterpret_cast<const uchar *>(cipher.data()), int(cipher.size())) != 1)
        return std::nullopt;
    return Deciphered{vector, plain.left(written)};
}

std::optional<TSKLocation> place(const QString &description)
{
    return TSKLocation::locationWithDescription(description);
}

// The JSON text the ad server's script receives, read back by an independent reader.
QJsonObject sentJSON(const QVariantMap &parameters)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(TSKMacros::jsonify(parameters).toUtf8(), &error);
    return error.error == QJsonParseError::NoError ? document.object() : QJsonObject();
}

}  // namespace

class TestRequest : public QObject
{
    Q_OBJECT
private slots:
    void locationValidityEqualityAndPlainText()
    {
        QVERIFY(TSKLocation::locationWithLatitudeLongitudeAccuracy(-90, -180, 0));
        for (const auto &[latitude, longitude] : {std::pair{91.f, 13.4f}, {52.5f, 180.5f}, {0.f, 13.4f}, {52.5f, 0.f},
                                                  {qQNaN(), 13.4f}})
            QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(latitude, longitude, 10));
        QVERIFY(!place(""));
        auto precise = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 10);
        auto later = precise;
        later->setTimestamp(precise->timestamp() + 1);
        QCOMPARE(precise->description(), QStringLiteral("52.500000,13.250000"));
        QVERIFY(*precise == *later);
        QVERIFY(!(*precise == *TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 11)));
        QVERIFY(*place("Berlin") == *place("Berlin"));
        QVERIFY(!(*place("Berlin") == *place("Bonn")));
        // Text that reads like the coordinates is still another kind of location.
        QVERIFY(!(*place(precise->description()) == *precise));

        auto location = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, -13.25f, 65.5f);
        location->setTimestamp(fixedTimestamp);
        auto deciphered = decipher(location->encodedRepresentation());
        QVERIFY(deciphered);
        const QByteArray text = "role: 6 producer: 24 historical_role: 1 historical_producer: 12 "
                                "timestamp: 1700000000250000 latlng <latitude_e7: 525000000 "
                                "longitude_e7: -132500000> radius: 65500";
        const int padding = 16 - text.size() % 16;
        QCOMPARE(deciphered->plain, text + QByteArray(padding, char(padding)));
        // Whole seconds times 1..4, clamped to 32 bits.
        QCOMPARE(deciphered->word(0), 1700000000);
        for (int i = 1; i < 4; ++i)
            QCOMPARE(deciphered->word(i), 2147483647);
        // This text fills whole blocks, so a full block of padding follows; quotes become apostrophes.
        auto city = place("Caf\"e %1xxxxx");
        city->setTimestamp(fixedTimestamp);
        QCOMPARE(decipher(city->encodedRepresentation()).value().plain,
                 "role: 4 producer: 24 historical_role: 1 historical_producer: 12 timestamp: 1700000000250000 "
                 "loc: \"Caf'e %1xxxxx\"" + QByteArray(16, char(16)));
        location = TSKLocation::locationWithLatitudeLongitudeAccuracy(1e-3f, 1e-3f, 3e38f);
        location->setTimestamp(1.5);
        deciphered = decipher(location->encodedRepresentation()).value();
        QVERIFY(deciphered->plain.contains("timestamp: 1500000 latlng <latitude_e7: 10000 longitude_e7: 10000> "
                                           "radius: 2147483647"));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(deciphered->word(i), i + 1);
        location->setTimestamp(-1e300);
        QCOMPARE(decipher(location->encodedRepresentation()).value().word(3), -2147483647 - 1);
        for (const QString &text : {QString(QChar(0xD800)), QString(1, QChar(0)), QString(100000, QLatin1Char('"')),
                                    QStringLiteral("\U0001F600 \U0001F600")})
            QVERIFY(place(text)->encodedRepresentation().isNull() || decipher(place(text)->encodedRepresentation()));
    }

    void privateTableOwnsValuesButNotKeys()
    {
        auto publicObject = std::make_unique<QObject>();
        const void *key = publicObject.get();
        QPointer<QObject> first = new QTimer, second = new QObject;
        TSKPrivateUtilities::setPrivateObjectForKey(std::unique_ptr<QObject>(first.data()), key);
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey<QTimer>(key), first.data());
        TSKPrivateUtilities::setPrivateObjectForKey(std::unique_ptr<QObject>(second.data()), key);
        QVERIFY(first.isNull());
        // The public object may go first; its entry stays until it is removed.
        publicObject.reset();
        QCOMPARE(TSKPrivateUtilities::privateObjectForKey(key), second.data());
        TSKPrivateUtilities::removePrivateObjectForKey(key);
        QVERIFY(second.isNull());
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(key));
        // A value whose destruction removes another entry must not upset the table.
        int a = 0, b = 0;
        auto chained = std::make_unique<QObject>();
        connect(chained.get(), &QObject::destroyed, [&b] { TSKPrivateUtilities::removePrivateObjectForKey(&b); });
        TSKPrivateUtilities::setPrivateObjectForKey(std::move(chained), &a);
        TSKPrivateUtilities::setPrivateObjectForKey(std::make_unique<QObject>(), &b);
        TSKPrivateUtilities::removePrivateObjectForKey(&a);
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(&a));
        QVERIFY(!TSKPrivateUtilities::privateObjectForKey(&b));
    }

    void copiesShareKeywordsButNotTheCounter()
    {
        const std::unique_ptr<TSKRequest> request = TSKRequest::request();
        QVERIFY(dynamic_cast<TSKRequestPrivate *>(request.get()));
        TSKRequestPrivate *original = TSKRequestPrivate::from(request.get());
        original->setGender(TSKGender::Male);
        original->setBirthday(QDateTime(QDate(1990, 5, 17), QTime(12, 0), Qt::UTC));
        original->setLocationWithDescription("Berlin");
        original->addKeyword("two words");
        original->setAdditionalParameters(QVariantMap{{"channel", "games"}});
        original->setInterstitialAd(true);
        original->setCounter(7);
        const std::unique_ptr<TSKRequest> copy = request->copy();
        QCOMPARE(copy->description(), QString("TSKRequest<0x%1>: ").arg(quintptr(copy.get()), 0, 16)
                     + "\ngender:Male\nbirthday:1990-05-17 12:00:00 +0000\nlocation:Berlin"
                       "\nkeywords:(\n    \"two words\"\n)\nadditionalParameters:{\n    channel = games;\n}");
        QVERIFY(TSKRequestPrivate::from(copy.get())->interstitialAd());
        QCOMPARE(TSKRequestPrivate::from(copy.get())->counter(), 0);
        copy->addKeyword("ball");
        QCOMPARE(original->keywords(), QStringList({"two words", "ball"}));
        original->setKeywords(QStringList{"new"});
        QCOMPARE(copy->keywords(), QStringList({"two words", "ball"}));
    }

    // Runs before anything counts requests or clicks, so nothing but the device facts is sent.
    void emptyLenientAndFullyTargetedParameters()
    {
        const auto request = TSKRequest::request();
        TSKRequestPrivate *state = TSKRequestPrivate::from(request.get());
        // Setters are lenient: what they cannot use is dropped, an odd birthday is rolled over.
        request->addKeyword(QString());
        request->setLocationWithDescription("Munich");
        request->setLocationWithLatitudeLongitudeAccuracy(0, 11.5f, 5);
        QVERIFY(!request->keywords() && !state->location());
        QVariantMap parameters = state->parameters();
        const QVariantMap device = TSKIdentifierUtilities::sharedInstance()->parameters();
        for (auto it = device.cbegin(); it != device.cend(); ++it)
            QCOMPARE(parameters.value(it.key()), it.value());
        QCOMPARE(parameters.value(QStringLiteral("js")), QVariant(QStringLiteral("tiskos-sdk-i-v4.0.2")));
        QCOMPARE(parameters.value(QStringLiteral("preqs")), QVariant(qint64(0)));
        for (const char *key : {"testing", "extras", "cust_gender", "cust_age", "kw", "uloc", "pcc"})
            QVERIFY2(!parameters.contains(QLatin1String(key)), key);
        QCOMPARE(sentJSON(parameters).keys(), parameters.keys());
        QCOMPARE(request->description(), QString("TSKRequest<0x%1>: ").arg(quintptr(request.get()), 0, 16));
        request->setBirthdayWithMonthDayYear(13, 1, 1999);
        QCOMPARE(state->birthdayString(), QString("20000101"));
        request->setBirthdayWithMonthDayYear(3, 0, 2001);
        QCOMPARE(state->birthdayString(), QString("20010228"));
        // What describes the person goes with consent only (tst_privacy has the rules).
        Velmora::Ads::PrivacySettings::instance()->setPersonalisedAdsAllowed(true);
        request->setTesting(true);
        request->setAdditionalParameters(QVariantMap{{"channel", "games"}, {"level", 3}});
        request->setGender(TSKGender::Female);
        request->setBirthdayWithMonthDayYear(5, 17, 1990);
        request->addKeyword("arcade");
        request->addKeyword("ball games");
        request->setLocationWithLatitudeLongitudeAccuracy(52.52f, 13.405f, 30);
        state->setCounter(5);
        // The request's own count wins over the statistics' one.
        TSKStatistics::sharedStatistics()->incrementAdRequestCount();
        TSKStatistics::sharedStatistics()->incrementClickCount();
        parameters = state->parameters();
        QVERIFY(parameters.contains(QStringLiteral("pcc")));
        const QJsonObject json = sentJSON(parameters);
        QCOMPARE(json.keys(), parameters.keys());
        const QJsonObject targeted{{"testing", "1"}, {"extras", QJsonObject{{"channel", "games"}, {"level", 3}}},
                                   {"cust_gender", "f"}, {"cust_age", "19900517"},
                                   {"kw", QJsonArray{"arcade", "ball games"}}, {"preqs", 5}};
        for (auto it = targeted.begin(); it != targeted.end(); ++it)
            QCOMPARE(json.value(it.key()), it.value());
        QVERIFY(decipher(json.value("uloc").toString()));
        // Non-ASCII text is counted in characters, so its bytes miss the block size: left out, and nothing else.
        request->setLocationWithDescription(QStringLiteral("Zürich"));
        parameters = state->parameters();
        QVERIFY(!parameters.contains(QStringLiteral("uloc")) && parameters.contains(QStringLiteral("kw")));
    }

    void osVersionAndSpamSignal()
    {
        int major = 0, minor = 0;
        TSKIdentifierUtilities::getOSMajorMinorBugFix(&major, &minor, nullptr);
        QVERIFY(TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major, minor));
        QVERIFY(TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major - 1, minor + 100));
        QVERIFY(!TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major, minor + 1));
        QVERIFY(!TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major + 1, 0));
        // The spam signal is one key-value pair or nothing.
        const auto request = TSKRequest::request();
        QVERIFY(TSKRequestPrivate::from(request.get())->spamSignals().isEmpty());
        const std::tuple<const char *, bool, QVariantMap> cases[] = {
            {"ms=a=b", true, {{"ms", "a"}}}, {"ms=abc", false, {}}, {"ms=", true, {}}, {"ms", true, {}}};
        for (const auto &[text, produced, expected] : cases) {
            TSKDeviceSignals::setSpamSignalSource([text = QString(text), produced = produced](QString &signal) {
                signal = text;
                return produced;
            });
            QCOMPARE(TSKRequestPrivate::from(request.get())->spamSignals(), expected);
        }
        TSKDeviceSignals::setSpamSignalSource({});
    }

    void errorCodesMessagesAndParameters()
    {
        const QString invalid = "Request Error: Invalid ad request parameter(s).  Check the console for details.";
        const std::pair<qint64, QString> messages[] = {
            {0, invalid}, {1, "Request Error: No ad to show."}, {2, "Request Error: A network error occurred."},
            {4, "Request Error: The ad request was unable to be fulfilled before a timeout occurred."},
            {7, invalid}, {-1, invalid}};
        const auto request = TSKRequest::request();
        request->addKeyword("arcade");
        auto *sent = TSKRequestPrivate::from(request.get());
        sent->setSentParameters(sent->parameters());
        // Building the error must not take the statistics a second time.
        TSKStatistics::sharedStatistics()->incrementClickCount();
        for (const auto &[code, message] : messages) {
            QCOMPARE(TSKRequestError::localizedStringForErrorCode(code), message);
            const TSKRequestError error(code, request.get());
            QCOMPARE(error.domain, TSKRequestError::Domain);
            QCOMPARE(error.localizedDescription(), message);
            QCOMPARE(error.userInfo.value(TSKRequestError::LocalizedFailureReasonKey), QVariant(message));
            // Only an invalid request's error carries the request's parameters.
            QCOMPARE(error.userInfo.contains("kw"), code == 0);
        }
        QCOMPARE(TSKRequestError(0, nullptr).userInfo.keys(),
                 QStringList({Error::LocalizedDescriptionKey, TSKRequestError::LocalizedFailureReasonKey}));
        // Handed on as the library's plain error value, nothing is lost.
        const std::optional<Error> plain = TSKRequestError::errorWithCodeRequest(0, request.get());
        QCOMPARE(plain->userInfo.value("kw"), QVariant(QVariantList{"arcade"}));
        QCOMPARE(plain->localizedDescription(), invalid);
        QCOMPARE(sent->parameters().value("pcc").toInt(), 1);
        QCOMPARE(TSKRequestError::localizedStringForErrorCodeOnOS(3, 2, 2, 1),
                 QString("Request Error: This device's OS is 2.2.1.  It is below the minimum of 3.0."));
        int major = -1, minor = -1, bugFix = -1;
        TSKIdentifierUtilities::getOSMajorMinorBugFix(&major, &minor, &bugFix);
        QCOMPARE(TSKRequestError::localizedStringForErrorCode(3),
                 TSKRequestError::localizedStringForErrorCodeOnOS(3, major, minor, bugFix));
    }
};

VELMORA_TEST_MAIN(TestRequest)
#include "tst_request.moc"
