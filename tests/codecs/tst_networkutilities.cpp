#include "TestMain.h"
#include "Utility/TSKNetworkUtilities.h"
#include "Utility/TSKNumberUtilities.h"
#include "json/TSKDecimal.h"

class TestNetworkUtilities : public QObject
{
    Q_OBJECT
private slots:
    void queryReaderSplitsOnBothSeparatorsAndSkipsMalformedPairs()
    {
        const QVariantMap read = TSKNetworkUtilities::dictionaryFromQueryString("A=1;b=2&&c");
        QCOMPARE(read, (QVariantMap{{"a", "1"}, {"b", "2"}}));

        // Leading blanks of a pair go, trailing ones stay; two '=' or an empty key side are judged as pairs.
        const QVariantMap spaced = TSKNetworkUtilities::dictionaryFromQueryString("  x=1 ;\n y=a=b; =v;;;z=");
        QCOMPARE(spaced, (QVariantMap{{"x", "1 "}, {"", "v"}, {"z", ""}}));

        QVERIFY(TSKNetworkUtilities::dictionaryFromQueryString(QString()).isEmpty());
        QVERIFY(TSKNetworkUtilities::dictionaryFromQueryString(";&; ").isEmpty());
    }

    void queryReaderUnescapesStrictlyAndLastPairWins()
    {
        const QVariantMap read = TSKNetworkUtilities::dictionaryFromQueryString(
            "x=a%3Db&K%C3%A9Y=Caf%C3%A9+au&bad=%zz&cut=%4&notutf8=%FF&k=first&K=second");
        QCOMPARE(read.value("x").toString(), QString("a=b"));
        QCOMPARE(read.value(QString::fromUtf8("kéy")).toString(), QString::fromUtf8("Café+au"));
        QCOMPARE(read.value("k").toString(), QString("second"));
        QVERIFY(!read.contains("bad"));
        QVERIFY(!read.contains("cut"));
        QVERIFY(!read.contains("notutf8"));
    }

    void parameterLookupIsRawCaseSensitiveAndAmpersandOnly()
    {
        const QUrl url("http://t.example/p?ai=Q%3D&x=1;y=2&v=a=b");
        QCOMPARE(TSKNetworkUtilities::parameterValueForKeyFromURL("ai", url), QString("Q%3D"));
        QVERIFY(TSKNetworkUtilities::parameterValueForKeyFromURL("AI", url).isNull());
        QCOMPARE(TSKNetworkUtilities::parameterValueForKeyFromURL("x", url), QString("1;y"));
        QCOMPARE(TSKNetworkUtilities::parameterValueForKeyFromURL("v", url), QString("a"));
        QVERIFY(TSKNetworkUtilities::parameterValueForKeyFromURL("ai", QUrl("http://t.example/")).isNull());
    }

    void appendingPicksSeparatorAndEncodesValuesOnly()
    {
        QCOMPARE(TSKNetworkUtilities::appendQueryKeyValueToURL("k", QString(""), QUrl("http://h.example/p")),
                 QUrl("http://h.example/p?k"));
        QCOMPARE(TSKNetworkUtilities::appendQueryKeyValueToURL("k", QVariant(), QUrl("http://h.example/p")),
                 QUrl("http://h.example/p?k"));
        QCOMPARE(TSKNetworkUtilities::appendQueryKeyValueToURL("k", "a b", QUrl("http://h.example/p?x=1"))
                     .toString(QUrl::FullyEncoded),
                 QString("http://h.example/p?x=1&k=a%20b"));
        // A bare '?' is an empty query, so another '?' follows it.
        QCOMPARE(TSKNetworkUtilities::appendQueryKeyValueToURL("k", 1, QUrl("http://h.example/p?"))
                     .toString(QUrl::FullyEncoded),
                 QString("http://h.example/p??k=1"));

        const QVariantMap parameters{{"b", true}, {"a", 2.5}, {"c", QVariant::fromValue(TSKDecimal(-7))}, {"d", "x/y"}};
        QCOMPARE(TSKNetworkUtilities::appendQueryParametersToURL(parameters, QUrl("http://h.example/"))
                     .toString(QUrl::FullyEncoded),
                 QString("http://h.example/?a=2.5&b=1&c=-7&d=x%2Fy"));
        QVERIFY(!TSKNetworkUtilities::appendQueryKeyValueToURL("bad key", "v", QUrl("http://h.example/")).isValid());
    }

    void encodeURLEscapesReservedAndNonAscii()
    {
        QCOMPARE(TSKNetworkUtilities::encodeURL("a/b?c=d&e"), QString("a%2Fb%3Fc%3Dd%26e"));
        QCOMPARE(TSKNetworkUtilities::encodeURL("!*'();:@&=+$,/?%#[]"),
                 QString("%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D"));
        QCOMPARE(TSKNetworkUtilities::encodeURL(QString::fromUtf8("Az09-._~ é\"<")), QString("Az09-._~%20%C3%A9%22%3C"));
        QCOMPARE(TSKNetworkUtilities::encodeURL(""), QString(""));
    }

    void userAgentKeepsFirstNonEmptyUntilReplaced()
    {
        QVERIFY(TSKNetworkUtilities::userAgentString().isNull());
        TSKNetworkUtilities::setUserAgentString("");
        QVERIFY(TSKNetworkUtilities::userAgentString().isNull());
        TSKNetworkUtilities::setUserAgentString("Agent/1");
        TSKNetworkUtilities::setUserAgentString(QString());
        QCOMPARE(TSKNetworkUtilities::userAgentString(), QString("Agent/1"));
        TSKNetworkUtilities::setUserAgentString("Agent/2");
        QCOMPARE(TSKNetworkUtilities::userAgentString(), QString("Agent/2"));
    }

    void floatsLoseTrailingZerosOnly()
    {
        QCOMPARE(TSKNumberUtilities::stringWithFloat(2.0f), QString("2"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(1.5f), QString("1.5"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(0.0f), QString("0"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(10.0f), QString("10"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(-320.25f), QString("-320.25"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(0.1f), QString("0.1"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(1e-7f), QString("0"));
        QCOMPARE(TSKNumberUtilities::stringWithFloat(std::numeric_limits<float>::infinity()), QString("inf"));
    }
};

VELMORA_TEST_MAIN(TestNetworkUtilities)
#include "tst_networkutilities.moc"
