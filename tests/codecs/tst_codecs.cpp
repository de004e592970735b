#include "Privacy/ConsentString.h"
#include "TestMain.h"
#include "Utility/TSKMacros.h"
#include "Utility/TSKNetworkUtilities.h"
#include "Utility/TSKNumberUtilities.h"
#include "json/TSKDecimal.h"
#include "json/TSKJSON.h"
#include "toolbox/TSKStackTrace.h"
#include "toolbox/TSKStringEncoding.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <dlfcn.h>

#include <numeric>

using namespace Velmora::Platform;

struct Opaque { int x = 0; };
Q_DECLARE_METATYPE(Opaque)

// Wraps the C library's backtrace() the way the sanitizer runtimes do, so every build checks that a
// wrapper's extra frame does not move where the trace starts.
extern "C" __attribute__((noipa)) int backtrace(void **buffer, int size)
{
    static const auto wrapped = reinterpret_cast<int (*)(void **, int)>(dlsym(RTLD_NEXT, "backtrace"));
    const int depth = wrapped(buffer, size);
    asm volatile("" ::: "memory");
    return depth;
}

// Exported (the executable exports its symbols) and out of line, so each shows up as a frame of its own.
namespace probe {
template<int N>
struct Frame
{
    __attribute__((noipa)) QString capture(int depth);
};
}  // namespace probe

extern "C" __attribute__((noipa)) QString velmoraProbeFunction(int depth)
{
    QString trace = probe::Frame<3>().capture(depth);
    asm volatile("" ::: "memory");  // keeps the call from becoming a tail call
    return trace;
}

template<int N>
QString probe::Frame<N>::capture(int depth)
{
    QString trace = depth > 0 ? velmoraProbeFunction(depth - 1) : TSKStackTrace();
    asm volatile("" ::: "memory");
    return trace;
}

namespace {

// "outer <- inner <- innermost", so one comparison checks the whole chain of causes.
QString messageChain(const Error &error)
{
    QString chain = error.localizedDescription();
    for (auto cause = error.underlyingError(); cause; cause = cause->underlyingError())
        chain += " <- " + cause->localizedDescription();
    return chain;
}

QString nested(int depth)
{
    return QString(depth, '[') + QString(depth, ']');
}

QString allAscii()
{
    QByteArray bytes(128, '\0');
    std::iota(bytes.begin(), bytes.end(), char(0));
    return QString::fromLatin1(bytes);
}

using NU = TSKNetworkUtilities;

}  // namespace

class TestCodecs : public QObject
{
    Q_OBJECT
private slots:
    void jsonReaderErrors_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("messages");
        auto row = [](const char *text, int code, const char *messages) {
            QTest::newRow(text ? text : "null") << (text ? QString::fromUtf8(text) : QString()) << code << QString(messages);
        };
        row(nullptr, 12, "Input was 'nil'");
        row("[1] x", 10, "Garbage after JSON");
        row("  ", 11, "Unexpected end of string");
        row("x", 3, "Unrecognised leading character");
        row("[nul]", 3, "Expected value while parsing array <- Expected 'null'");
        row("trud", 3, "Expected 'true'");
        row("fals", 3, "Expected 'false'");
        row("+1", 2, "Leading + disallowed in number");
        row("01", 2, "Leading 0 disallowed in number");
        row("-", 2, "No digits after initial minus");
        row("1.", 2, "No digits after decimal point");
        row("1e+", 2, "No digits after exponent");
        row("1e200", 2, "Failed creating decimal instance");
        row("{", 11, "End of input while parsing object");
        row("{1:2}", 3, "Object key string expected");
        row("{\"a", 3, "Object key string expected <- Unexpected EOF while parsing string");
        row("{\"a\" 1}", 3, "Expected ':' separating key and value");
        row("{\"a\":}", 3, "Object value expected for key: a <- Unrecognised leading character");
        row("{\"a\":1,}", 9, "Trailing comma disallowed in object");
        row("[", 11, "End of input while parsing array");
        row("[1,2,]", 9, "Trailing comma disallowed in array");
        row("\"a\tb\"", 5, "Unescaped control character '0x9'");
        row("\"\\x\"", 8, "Illegal escape sequence '0x78'");
        row("\"\\", 8, "Illegal escape sequence '0x0'");
        row("\"abc", 11, "Unexpected EOF while parsing string");
        row("\"\\u12G4\"", 6, "Broken unicode character <- Missing hex quad <- Missing hex digit in quad");
        row("\"\\uDC00\"", 6, "Broken unicode character <- Invalid high character in surrogate pair");
        row("\"\\uD800x\"", 6, "Broken unicode character <- Missing low character in surrogate pair");
        row("\"\\uD800\\u12\"", 6,
            "Broken unicode character <- Missing low character in surrogate pair <- Missing hex digit in quad");
        row("\"\\uD83D\\uDFFF\"", 6, "Broken unicode character <- Invalid low surrogate char");
    }

    void jsonReaderErrors()
    {
        QFETCH(QString, text);
        QFETCH(int, code);
        QFETCH(QString, messages);
        TSKJSON::OptionalError error;
        QVERIFY(!TSKJSON().fragmentWithString(text, &error).isValid());
        QVERIFY(error && error->domain == TSKJSONErrorDomain);
        QCOMPARE(error->code, code);
        QCOMPARE(messageChain(*error), messages);
    }

    void jsonReaderValuesNumbersSurrogatesAndNesting()
    {
        TSKJSON reader;
        TSKJSON::OptionalError error;
        const QVariantMap object = reader.objectWithString(
            " {\"a\":1 \"b\":[true,false,null,-0.5e-3,\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\"] ,\"a\":\"caf\xc3\xa9\"}\v\f\r\n",
            &error).toMap();
        QVERIFY2(!error, qPrintable(error ? error->localizedDescription() : QString()));
        QCOMPARE(object.value("a").toString(), QString::fromUtf8("café"));
        const QVariantList array = object.value("b").toList();
        QCOMPARE(array.size(), 5);
        QCOMPARE(array[0].typeId(), QMetaType::Bool);
        QCOMPARE(array[1], QVariant(false));
        QCOMPARE(array[2].typeId(), QMetaType::Nullptr);
        QCOMPARE(array[3].value<TSKDecimal>().toString(), QString("-0.0005"));
        QCOMPARE(array[4].toString(), QString::fromUtf8("\"\\/\b\f\n\r\té"));
        QVERIFY(!reader.objectWithString("\"x\"", &error).isValid());
        QCOMPARE(error->code, 4);
        QCOMPARE(error->localizedDescription(), QString("Valid fragment, but not JSON"));
        // Bytes after a NUL are never looked at, as with C-string input.
        QCOMPARE(reader.objectWithUTF8(QByteArrayView("[1]\0junk", 8), false).toList().size(), 1);
        // A pair folds into one 16-bit unit (the upper bits are cut); a byte order mark is kept.
        QCOMPARE(reader.fragmentWithString("\"\\uD83D\\uDE00\"").toString(), QString(QChar(0xF600)));
        QCOMPARE(reader.fragmentWithString("\"\\u0000\\uFFFF\"").toString(), QString(QChar(0)) + QChar(0xFFFF));
        QCOMPARE(reader.objectWithString(QString("{\"") + QChar(0xFEFF) + "k\":\"\\uDBFF\\uDEFF\"}").toMap(),
                 (QVariantMap{{QString(QChar(0xFEFF)) + "k", QString(QChar(0xFEFF))}}));

        QVERIFY(reader.objectWithString(nested(512)).isValid());
        QVERIFY(!reader.objectWithString(nested(513), &error).isValid());
        Error innermost = *error;
        while (auto cause = innermost.underlyingError())
            innermost = *cause;
        QCOMPARE(innermost.code, 7);
        QCOMPARE(innermost.localizedDescription(), QString("Nested too deep"));
        reader.setMaxDepth(2);
        QVERIFY(!reader.objectWithString("{\"a\":[[]]}").isValid());
        QVERIFY(reader.objectWithString("[[],{},[1]]").isValid());  // siblings do not add up, nor do calls
        QVERIFY(reader.objectWithString("[[]]").isValid());
        reader.setMaxDepth(0);
        QVERIFY(reader.objectWithString(nested(5000)).isValid());

        // Numbers keep their digits and print without an exponent.
        const std::pair<const char *, QString> cases[] = {
            {"1.10", "1.1"}, {"1e2", "100"}, {"-0.5e-3", "-0.0005"}, {"-0", "0"}, {"0.000e5", "0"},
            {"123.456e1", "1234.56"}, {"1e-128", "0." + QString(127, '0') + "1"}, {"1e128", "1" + QString(128, '0')},
            {"12345678901234567890123456789012345678", "12345678901234567890123456789012345678"},
            {"0.1234567890123456789012345678901234567899", "0.12345678901234567890123456789012345678"},
            {"1e-129", {}}, {"1e165", {}}, {"e5", {}}, {"1e99999999999999999999", {}}};
        for (const auto &[text, printed] : cases) {
            const auto number = TSKDecimal::fromString(std::string_view(text));
            QCOMPARE(number ? number->toString() : QString(), printed);
        }
        QCOMPARE(TSKDecimal::fromString(QString("2.50")), TSKDecimal::fromString(QString("25e-1")));
        QCOMPARE(TSKDecimal::fromString(QString("-1.25e3"))->toDouble(), -1250.0);
    }

    void jsonWriterOutputAndErrors()
    {
        TSKJSON writer;
        const QString text = QString("a\tb/c\"d\\e") + QChar(1) + QString::fromUtf8("é\n");
        QCOMPARE(writer.stringWithFragment(text), QString::fromUtf8("\"a\\tb/c\\\"d\\\\e\\u0001é\\n\""));
        QCOMPARE(writer.stringWithObject(QVariantList{true, 1, 2.5, QVariant::fromValue(nullptr),
                                                      QVariant::fromValue(TSKDecimal::fromString(QString("1.10")).value()),
                                                      QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5), Qt::UTC)}),
                 QString("[true,1,2.5,null,1.1,\"2024-01-02T03:04:05.000Z\"]"));
        const QString compact = "{\"a\":{\"b\":[1,\"x\",{}]},\"c\":[],\"d\":false}";
        QCOMPARE(writer.stringWithObject(writer.objectWithString(compact)), compact);

        writer.setHumanReadable(true);
        writer.setSortKeys(true);
        QCOMPARE(writer.stringWithObject(QVariantHash{{"b", QVariantList{true}}, {"a", 1}}),
                 QString("{\n  \"a\" : 1,\n  \"b\" : [\n    true\n  ]\n}"));
        QCOMPARE(writer.stringWithObject(QVariantMap{}), QString("{}"));
        QCOMPARE(writer.stringWithObject(QVariantList{QVariantList{}}), QString("[\n  []\n]"));

        const QVariant numberKeyed = QVariant::fromValue(QMap<int, QVariant>{{1, "x"}});
        const std::tuple<QVariant, int, QString> cases[] = {
            {QString("x"), 4, "Not valid type for JSON"},
            {QVariantList{QVariant::fromValue(Opaque{})}, 1, "JSON serialisation not supported for Opaque"},
            {numberKeyed, 1, "JSON object key must be string"},
            {QVariantMap{{"k", numberKeyed}}, 1, "Unsupported value for key k in object"}};
        for (const auto &[value, code, messages] : cases) {
            TSKJSON::OptionalError error;
            QVERIFY(TSKJSON().stringWithObject(value, &error).isNull());
            QCOMPARE(error->code, code);
            QCOMPARE(messageChain(*error), messages);
        }
        // jsonify never fails: nothing for nothing, an empty text for what cannot be written.
        QVERIFY(TSKMacros::jsonify(QVariant()).isNull());
        const QString unwritable = TSKMacros::jsonify(QVariantList{QVariant::fromValue(Opaque{})});
        QVERIFY(unwritable.isEmpty() && !unwritable.isNull());
    }

    void encodingsMeetKnownVectorsRoundTripAndDecodeStrictly()
    {
        const TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
        const TSKStringEncoding hex = TSKStringEncoding::hexStringEncoding();
        TSKStringEncoding websafe = TSKStringEncoding::rfc4648Base64WebsafeStringEncoding();
        const std::tuple<TSKStringEncoding, QByteArray, QString> vectors[] = {
            {base64, "foobar", "Zm9vYmFy"}, {base64, "fo", "Zm8="}, {base64, "", ""},
            {base64, "caf\xc3\xa9", "Y2Fmw6k="}, {websafe, QByteArray(4, char(0xFB)), "-_v7-w=="},
            {TSKStringEncoding::rfc4648Base32StringEncoding(), "f", "MY======"},
            {TSKStringEncoding::rfc4648Base32HexStringEncoding(), "fo", "CPNG===="},
            {hex, QByteArray::fromHex("0a1bff"), "0A1BFF"}, {TSKStringEncoding::binaryStringEncoding(), "\x81", "10000001"}};
        for (const auto &[encoding, bytes, text] : vectors) {
            QCOMPARE(encoding.encode(bytes), text);
            QCOMPARE(encoding.decode(text), std::optional<QByteArray>(bytes));
        }
        websafe.setDoPad(false);
        QCOMPARE(websafe.encode(QByteArray(16, char(0xFB))), QString("-_v7-_v7-_v7-_v7-_v7-w"));
        QCOMPARE(base64.stringByDecoding("Y2Fmw6k="), QString::fromUtf8("café"));

        // The built-in alphabets' round trips are fuzzed; these group bits as none of them does.
        QRandomGenerator random(42);
        for (const QString &alphabet : {QString("abcd"), allAscii()}) {
            const TSKStringEncoding encoding = *TSKStringEncoding::stringEncodingWithString(alphabet);
            for (int length = 0; length < 40; ++length) {
                QByteArray data(length, Qt::Uninitialized);
                for (char &byte : data)
                    byte = char(random.bounded(256));
                QCOMPARE(encoding.decode(encoding.encode(data)), std::optional<QByteArray>(data));
            }
        }

        TSKStringEncoding paddedHex = hex, spaced = base64, custom = *TSKStringEncoding::stringEncodingWithString("ab");
        paddedHex.setDoPad(true);  // '=' is padding only where the encoder writes it
        spaced.ignoreCharacters(" \n");
        custom.setPaddingChar('.');
        custom.setDoPad(true);
        TSKStringEncoding synonyms = custom;
        synonyms.addDecodeSynonyms("aAbB");
        const TSKStringEncoding crockford = TSKStringEncoding::crockfordBase32StringEncoding();
        const QByteArray zero(1, '\0');
        const std::tuple<TSKStringEncoding, const char *, std::optional<QByteArray>> cases[] = {
            {base64, "AA==", zero}, {base64, "AA", zero}, {base64, "AA======", zero},
            {base64, "AB==", {}},      // leftover bits set
            {base64, "AA=A", {}},      // value after padding
            {base64, "Zm9v-mFy", {}},  // other alphabet
            {base64, "Zm9v\xc3\xa9", {}}, {base64, "B", {}}, {spaced, "Zm9v\nYmFy ", QByteArray("foobar")},
            {hex, "0a1B", QByteArray::fromHex("0a1b")}, {hex, "0G", {}}, {hex, "0A=", {}},
            {paddedHex, "0A=", QByteArray(1, '\x0a')},
            {crockford, "OlI2ab56", QByteArray::fromHex("0042252ca6")}, {crockford, "U", {}},
            {custom, "aaaabbbb..", QByteArray(1, '\x0f')}, {custom, "AAAABBBB", {}},
            {synonyms, "AAAABBBB", QByteArray(1, '\x0f')}};
        for (const auto &[encoding, text, bytes] : cases)
            QVERIFY2(encoding.decode(QString::fromUtf8(text)) == bytes, text);
        QVERIFY(base64.stringByDecoding("B").isNull());

        for (const QString &alphabet : {QString("abc"), QString("abca"), QString("a"), QString::fromUtf8("aé"),
                                        allAscii() + allAscii()})
            QVERIFY2(!TSKStringEncoding::stringEncodingWithString(alphabet), qPrintable(alphabet));
    }

    // Query strings read by the scanner's rules and written by the URL builders; floats and the user agent with them.
    void queryStringsReadAndWrittenFloatsAndTheUserAgent()
    {
        QCOMPARE(NU::dictionaryFromQueryString("A=1;b=2&&c"), (QVariantMap{{"a", "1"}, {"b", "2"}}));
        // Leading blanks of a pair go, trailing ones stay; two '=' or an empty key side are judged as pairs.
        QCOMPARE(NU::dictionaryFromQueryString("  x=1 ;\n y=a=b; =v;;;z="), (QVariantMap{{"x", "1 "}, {"", "v"}, {"z", ""}}));
        QVERIFY(NU::dictionaryFromQueryString(QString()).isEmpty());
        QVERIFY(NU::dictionaryFromQueryString(";&; ").isEmpty());
        // Unescaping is strict (a bad escape drops the pair), '+' stays, and the last pair wins.
        QCOMPARE(NU::dictionaryFromQueryString("x=a%3Db&K%C3%A9Y=Caf%C3%A9+au&bad=%zz&cut=%4&notutf8=%FF&k=first&K=second"),
                 (QVariantMap{{"x", "a=b"}, {QString::fromUtf8("kéy"), QString::fromUtf8("Café+au")}, {"k", "second"}}));
        // Parameter lookup is raw, case-sensitive and splits on '&' only.
        const QUrl url("http://t.example/p?ai=Q%3D&x=1;y=2&v=a=b");
        QCOMPARE(NU::parameterValueForKeyFromURL("ai", url), QString("Q%3D"));
        QVERIFY(NU::parameterValueForKeyFromURL("AI", url).isNull());
        QCOMPARE(NU::parameterValueForKeyFromURL("x", url), QString("1;y"));
        QCOMPARE(NU::parameterValueForKeyFromURL("v", url), QString("a"));
        QVERIFY(NU::parameterValueForKeyFromURL("ai", QUrl("http://t.example/")).isNull());
        const QUrl base("http://h.example/p");
        QCOMPARE(NU::appendQueryKeyValueToURL("k", QString(""), base), QUrl("http://h.example/p?k"));
        QCOMPARE(NU::appendQueryKeyValueToURL("k", QVariant(), base), QUrl("http://h.example/p?k"));
        QCOMPARE(NU::appendQueryKeyValueToURL("k", "a b", QUrl("http://h.example/p?x=1")).toString(QUrl::FullyEncoded),
                 QString("http://h.example/p?x=1&k=a%20b"));
        // A bare '?' is an empty query, so another '?' follows it.
        QCOMPARE(NU::appendQueryKeyValueToURL("k", 1, QUrl("http://h.example/p?")).toString(QUrl::FullyEncoded),
                 QString("http://h.example/p??k=1"));
        const QVariantMap parameters{{"b", true}, {"a", 2.5}, {"c", QVariant::fromValue(TSKDecimal(-7))}, {"d", "x/y"}};
        QCOMPARE(NU::appendQueryParametersToURL(parameters, QUrl("http://h.example/")).toString(QUrl::FullyEncoded),
                 QString("http://h.example/?a=2.5&b=1&c=-7&d=x%2Fy"));
        QVERIFY(!NU::appendQueryKeyValueToURL("bad key", "v", QUrl("http://h.example/")).isValid());
        QCOMPARE(NU::encodeURL("!*'();:@&=+$,/?%#[]"), QString("%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D"));
        QCOMPARE(NU::encodeURL(QString::fromUtf8("Az09-._~ é\"<")), QString("Az09-._~%20%C3%A9%22%3C"));
        QCOMPARE(NU::encodeURL(""), QString(""));
        // Floats lose trailing zeros only.
        const std::pair<float, const char *> cases[] = {{2.0f, "2"}, {10.0f, "10"}, {1.5f, "1.5"}, {-320.25f, "-320.25"},
            {0.1f, "0.1"}, {0.0f, "0"}, {1e-7f, "0"}, {std::numeric_limits<float>::infinity(), "inf"}};
        for (const auto &[value, printed] : cases)
            QCOMPARE(TSKNumberUtilities::stringWithFloat(value), QString(printed));
        // The user agent keeps the first non-empty one until replaced.
        NU::setUserAgentString("");
        QVERIFY(NU::userAgentString().isNull());
        NU::setUserAgentString("Agent/1");
        NU::setUserAgentString(QString());
        QCOMPARE(NU::userAgentString(), QString("Agent/1"));
        NU::setUserAgentString("Agent/2");
        QCOMPARE(NU::userAgentString(), QString("Agent/2"));
    }

    void stackTraceNamesFramesAndLaysThemOut()
    {
        const QStringList lines = velmoraProbeFunction(1).split('\n');
        QVERIFY(lines.size() >= 4);
        // The capturing function itself is left out; the trace starts at its caller.
        const QRegularExpression first(R"(^#0 +tst_codecs {26}0x[0-9a-f]{8,} -\[probe::Frame<3> capture\]$)");
        QVERIFY2(first.match(lines[0]).hasMatch(), qPrintable(lines[0]));
        QVERIFY2(lines[1].endsWith(" velmoraProbeFunction()"), qPrintable(lines[1]));
        QVERIFY2(lines[2].endsWith(" -[probe::Frame<3> capture]"), qPrintable(lines[2]));
        QVERIFY(lines.last().startsWith(QString("#%1").arg(lines.size() - 1)));

        QCOMPARE(TSKGetStackAddressDescriptorsForAddresses(nullptr, nullptr, 3), size_t(0));
        quintptr addresses[2] = {reinterpret_cast<quintptr>(&velmoraProbeFunction) + 1, 0};
        TSKAddressDescriptor descriptors[2];
        QCOMPARE(TSKGetStackAddressDescriptorsForAddresses(addresses, descriptors, 2), size_t(2));
        QCOMPARE(descriptors[0].symbol, QByteArray("velmoraProbeFunction"));
        QVERIFY(descriptors[0].className.isEmpty());
        QVERIFY(descriptors[0].filename.endsWith("tst_codecs"));
        QCOMPARE(descriptors[1].symbol, QByteArray("???"));
        const TSKAddressDescriptor made[3] = {{0x1234, "run:", "Runner", true, "/usr/lib/libRunner.so"},
                                              {0xabcdef012, "???", {}, false, {}},
                                              {0, {}, {}, false, {}}};
        QCOMPARE(TSKStackTraceFromAddressDescriptors(made, 3),
                 QString("#0  %1 0x00001234 +[Runner run:]\n#1  %2 0xabcdef012 ?\?\?()\n#2  %2      (nil) ?\?()")
                     .arg("libRunner.so", -35)
                     .arg("??", -35));
    }

    // Strings made by the IAB's own encoder (tests/data/consent) read back as it wrote them, in
    // either vendor encoding; anything malformed reads as no consent.
    void consentStrings()
    {
        QFile file(QStringLiteral(VELMORA_TEST_DATA "/consent/strings.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject cases = QJsonDocument::fromJson(file.readAll())["cases"].toObject();
        QCOMPARE(cases.size(), 8);
        for (auto it = cases.begin(); it != cases.end(); ++it) {
            const QJsonObject expected = it->toObject();
            const auto bits = Velmora::Ads::ConsentString::decode(expected["tcString"].toString());
            QVERIFY2(bits, qPrintable(it.key()));
            QCOMPARE(bits->purposeConsents, expected["purposeConsents"].toString());
            QCOMPARE(bits->specialFeatureOptIns, expected["specialFeatureOptIns"].toString());
            QCOMPARE(bits->vendorConsents, expected["vendorConsents"].toString());
        }

        const QString full = cases["full"].toObject()["tcString"].toString();
        const QString core = full.section('.', 0, 0);
        for (const QString &malformed : {QString(), core.left(30), core.left(core.size() - 12), "!" + core.mid(1),
                                         "B" + core.mid(1) /* version 1 */, full + QString(64 * 1024, 'A')})
            QVERIFY2(!Velmora::Ads::ConsentString::decode(malformed), qPrintable(malformed.left(40)));
        // Segments after the core one are not read.
        QVERIFY(Velmora::Ads::ConsentString::decode(core + ".garbage!"));
    }
};

VELMORA_TEST_MAIN(TestCodecs)
#include "tst_codecs.moc"
