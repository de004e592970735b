#include "Request/TSKDeviceSignals.h"
#include "Request/TSKRequestPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "Utility/TSKIdentifierUtilities.h"
#include "Utility/TSKMacros.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

const QStringList targetingKeys = {QStringLiteral("testing"), QStringLiteral("extras"), QStringLiteral("cust_gender"),
                                   QStringLiteral("cust_age"), QStringLiteral("kw"), QStringLiteral("uloc")};

// The JSON text the ad server's script receives, read back by an independent reader.
QJsonObject sentJSON(const QVariantMap &parameters)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(TSKMacros::jsonify(parameters).toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    return document.object();
}

}  // namespace

class TestRequest : public QObject
{
    Q_OBJECT
private slots:
    void everyRequestIsPrivateAndCopiesShareKeywordsButNotTheCounter()
    {
        const std::unique_ptr<TSKRequest> request = TSKRequest::request();
        QVERIFY(dynamic_cast<TSKRequestPrivate *>(request.get()));
        TSKRequestPrivate *original = TSKRequestPrivate::from(request.get());
        original->setTesting(true);
        original->setGender(TSKGender::Female);
        original->setBirthdayWithMonthDayYear(2, 29, 2000);
        original->setAdditionalParameters(QVariantMap{{QStringLiteral("k"), 1}});
        original->setLocationWithDescription(QStringLiteral("Berlin"));
        original->addKeyword(QStringLiteral("arcade"));
        original->setInterstitialAd(true);
        original->setCounter(7);

        const std::unique_ptr<TSKRequest> copy = request->copy();
        const TSKRequestPrivate *copied = TSKRequestPrivate::from(copy.get());
        QVERIFY(copied->testing());
        QCOMPARE(copied->gender(), TSKGender::Female);
        QCOMPARE(copied->birthdayString(), QStringLiteral("20000229"));
        QCOMPARE(copied->additionalParameters()->value(QStringLiteral("k")), QVariant(1));
        QCOMPARE(copied->location()->description(), QStringLiteral("Berlin"));
        QVERIFY(copied->interstitialAd());
        QCOMPARE(copied->counter(), 0);

        copy->addKeyword(QStringLiteral("ball"));
        QCOMPARE(original->keywords(), QStringList({QStringLiteral("arcade"), QStringLiteral("ball")}));
        // Replacing the list on one of them parts them.
        original->setKeywords(QStringList{QStringLiteral("new")});
        QCOMPARE(copy->keywords(), QStringList({QStringLiteral("arcade"), QStringLiteral("ball")}));
    }

    void targetingSetters()
    {
        const auto request = TSKRequest::request();
        const TSKRequestPrivate *state = TSKRequestPrivate::from(request.get());
        QVERIFY(state->genderString().isNull());
        QVERIFY(state->birthdayString().isNull());
        QVERIFY(!request->keywords());

        request->addKeyword(QString());
        QVERIFY(!request->keywords());
        request->addKeyword(QStringLiteral("a"));
        QCOMPARE(request->keywords(), QStringList{QStringLiteral("a")});

        request->setGender(TSKGender::Male);
        QCOMPARE(state->genderString(), QStringLiteral("m"));

        request->setBirthdayWithMonthDayYear(13, 1, 1999);
        QCOMPARE(state->birthdayString(), QStringLiteral("20000101"));
        request->setBirthdayWithMonthDayYear(3, 0, 2001);
        QCOMPARE(state->birthdayString(), QStringLiteral("20010228"));
        QCOMPARE(request->birthday().time(), QTime(0, 0));

        request->setLocationWithLatitudeLongitudeAccuracy(48.1f, 11.5f, 5);
        QVERIFY(state->location()->isPreciseLocation());
        request->setLocationWithLatitudeLongitudeAccuracy(0, 11.5f, 5);
        QVERIFY(!state->location());
        request->setLocationWithDescription(QStringLiteral("Munich"));
        request->setLocationWithDescription(QString());
        QVERIFY(!state->location());
    }

    void emptyRequestSendsDeviceFactsVersionAndCount()
    {
        const auto request = TSKRequest::request();
        const QVariantMap parameters = TSKRequestPrivate::from(request.get())->parameters();
        const QVariantMap device = TSKIdentifierUtilities::sharedInstance()->parameters();
        QVERIFY(!device.isEmpty());
        for (auto it = device.cbegin(); it != device.cend(); ++it)
            QCOMPARE(parameters.value(it.key()), it.value());
        QCOMPARE(parameters.value(QStringLiteral("js")), QVariant(QStringLiteral("tiskos-sdk-i-v4.0.2")));
        QCOMPARE(parameters.value(QStringLiteral("preqs")), QVariant(qint64(0)));
        for (const QString &key : targetingKeys)
            QVERIFY2(!parameters.contains(key), qPrintable(key));

        const QJsonObject json = sentJSON(parameters);
        QCOMPARE(json.keys(), parameters.keys());
        QCOMPARE(json.value(QStringLiteral("preqs")).toInteger(), 0);
    }

    void fullyTargetedRequestSendsEveryKey()
    {
        const auto request = TSKRequest::request();
        TSKRequestPrivate *state = TSKRequestPrivate::from(request.get());
        request->setTesting(true);
        request->setAdditionalParameters(QVariantMap{{QStringLiteral("channel"), QStringLiteral("games")},
                                                     {QStringLiteral("level"), 3}});
        request->setGender(TSKGender::Female);
        request->setBirthdayWithMonthDayYear(5, 17, 1990);
        request->addKeyword(QStringLiteral("arcade"));
        request->addKeyword(QStringLiteral("ball games"));
        request->setLocationWithLatitudeLongitudeAccuracy(52.52f, 13.405f, 30);
        state->setCounter(5);
        // The request's own count wins over the statistics' one.
        TSKStatistics::sharedStatistics()->incrementAdRequestCount();
        TSKStatistics::sharedStatistics()->incrementClickCount();

        const QVariantMap parameters = state->parameters();
        QCOMPARE(parameters.value(QStringLiteral("testing")), QVariant(QStringLiteral("1")));
        QCOMPARE(parameters.value(QStringLiteral("cust_gender")), QVariant(QStringLiteral("f")));
        QCOMPARE(parameters.value(QStringLiteral("cust_age")), QVariant(QStringLiteral("19900517")));
        QVERIFY(parameters.value(QStringLiteral("uloc")).toString().startsWith(QStringLiteral("e1+")));
        QCOMPARE(parameters.value(QStringLiteral("preqs")), QVariant(qint64(5)));
        QVERIFY(parameters.contains(QStringLiteral("pcc")));

        const QJsonObject json = sentJSON(parameters);
        QCOMPARE(json.keys(), parameters.keys());
        QCOMPARE(json.value(QStringLiteral("extras")).toObject(),
                 QJsonObject({{QStringLiteral("channel"), QStringLiteral("games")}, {QStringLiteral("level"), 3}}));
        QCOMPARE(json.value(QStringLiteral("kw")).toArray(),
                 QJsonArray({QStringLiteral("arcade"), QStringLiteral("ball games")}));
        QCOMPARE(json.value(QStringLiteral("uloc")).toString(), parameters.value(QStringLiteral("uloc")).toString());
        QCOMPARE(json.value(QStringLiteral("preqs")).toInteger(), 5);

        // A non-ASCII place cannot be enciphered and is left out, nothing else.
        request->setLocationWithDescription(QStringLiteral("Zürich"));
        const QVariantMap withoutPlace = state->parameters();
        QVERIFY(!withoutPlace.contains(QStringLiteral("uloc")));
        QVERIFY(withoutPlace.contains(QStringLiteral("kw")));
    }

    void osVersionComparison()
    {
        int major = 0, minor = 0;
        TSKIdentifierUtilities::getOSMajorMinorBugFix(&major, &minor, nullptr);
        QVERIFY(TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major, minor));
        QVERIFY(TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major - 1, minor + 100));
        QVERIFY(!TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major, minor + 1));
        QVERIFY(!TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(major + 1, 0));
    }

    void requestTypes()
    {
        QCOMPARE(TSKRequestPrivate::requestTypeFromString(QStringLiteral("tiskos")), 4);
        QCOMPARE(TSKRequestPrivate::requestTypeFromString(QStringLiteral("exchange")), 5);
        QCOMPARE(TSKRequestPrivate::requestTypeFromString(QStringLiteral("contextual")), 1);
        for (const QString &other : {QString(), QStringLiteral("Tiskos"), QStringLiteral("house")})
            QCOMPARE(TSKRequestPrivate::requestTypeFromString(other), 0);
    }

    void spamSignalIsOneKeyValuePairOrNothing()
    {
        const auto request = TSKRequest::request();
        const TSKRequestPrivate *state = TSKRequestPrivate::from(request.get());
        QVERIFY(state->spamSignals().isEmpty());

        const auto withSignal = [state](const QString &text, bool produced) {
            TSKDeviceSignals::setSpamSignalSource([text, produced](QString &signal) {
                signal = text;
                return produced;
            });
            const QVariantMap signals_ = state->spamSignals();
            TSKDeviceSignals::setSpamSignalSource({});
            return signals_;
        };
        QCOMPARE(withSignal(QStringLiteral("ms=abc"), true), QVariantMap({{QStringLiteral("ms"), QStringLiteral("abc")}}));
        QCOMPARE(withSignal(QStringLiteral("ms=a=b"), true), QVariantMap({{QStringLiteral("ms"), QStringLiteral("a")}}));
        QVERIFY(withSignal(QStringLiteral("ms=abc"), false).isEmpty());
        QVERIFY(withSignal(QStringLiteral("ms="), true).isEmpty());
        QVERIFY(withSignal(QStringLiteral("ms"), true).isEmpty());
    }

    void descriptionShowsWhatIsSet()
    {
        const auto request = TSKRequest::request();
        const QString address = QStringLiteral("TSKRequest<0x%1>: ").arg(quintptr(request.get()), 0, 16);
        QCOMPARE(request->description(), address);

        request->setGender(TSKGender::Female);
        request->setBirthday(QDateTime(QDate(1990, 5, 17), QTime(12, 0), Qt::UTC));
        request->setLocationWithDescription(QStringLiteral("Berlin"));
        request->addKeyword(QStringLiteral("arcade"));
        request->addKeyword(QStringLiteral("two words"));
        request->setAdditionalParameters(QVariantMap{{QStringLiteral("channel"), QStringLiteral("games")}});
        request->setTesting(true);
        QCOMPARE(request->description(),
                 address
                     + QStringLiteral("\ngender:Female\nbirthday:1990-05-17 12:00:00 +0000\nlocation:Berlin"
                                      "\nkeywords:(\n    arcade,\n    \"two words\"\n)"
                                      "\nadditionalParameters:{\n    channel = games;\n}"));
    }
};

VELMORA_TEST_MAIN(TestRequest)
#include "tst_request.moc"
