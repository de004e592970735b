#include "TestMain.h"
#include "Utility/TSKMacros.h"
#include "json/TSKDecimal.h"
#include "json/TSKJSON.h"

#include <QDateTime>

struct Opaque
{
    int x = 0;
};
Q_DECLARE_METATYPE(Opaque)

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

}  // namespace

class TestJSON : public QObject
{
    Q_OBJECT
private slots:
    void readerErrors_data()
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

    void readerErrors()
    {
        QFETCH(QString, text);
        QFETCH(int, code);
        QFETCH(QString, messages);
        TSKJSON reader;
        TSKJSON::OptionalError error;
        QVERIFY(!reader.fragmentWithString(text, &error).isValid());
        QVERIFY(error);
        QCOMPARE(error->domain, TSKJSONErrorDomain);
        QCOMPARE(error->code, code);
        QCOMPARE(messageChain(*error), messages);
    }

    void readsValuesAndToleratesMissingComma()
    {
        TSKJSON reader;
        TSKJSON::OptionalError error;
        const QVariant read = reader.objectWithString(
            " {\"a\":1 \"b\":[true,false,null,-0.5e-3,\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00e9\"] ,\"a\":\"caf\xc3\xa9\"}\v\f\r\n",
            &error);
        QVERIFY2(!error, qPrintable(error ? error->localizedDescription() : QString()));
        const QVariantMap object = read.toMap();
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
        QCOMPARE(reader.fragmentWithString("\"x\"").toString(), QString("x"));

        // Bytes after a NUL are never looked at, as with C-string input.
        QCOMPARE(reader.objectWithUTF8(QByteArrayView("[1]\0junk", 8), false).toList().size(), 1);
    }

    void surrogatePairsFoldIntoOneUnit()
    {
        TSKJSON reader;
        QCOMPARE(reader.fragmentWithString("\"\\uD83D\\uDE00\"").toString(), QString(QChar(0xF600)));
        QCOMPARE(reader.fragmentWithString("\"\\uDBFF\\uDFFE\"").toString(), QString(QChar(0xFFFE)));
        QCOMPARE(reader.fragmentWithString("\"\\u0000\\uFFFF\"").toString(), QString(QChar(0)) + QChar(0xFFFF));
        // A byte order mark inside a string is kept, escaped or not, first or not.
        QCOMPARE(reader.fragmentWithString("\"\\uDBFF\\uDEFF\"").toString(), QString(QChar(0xFEFF)));
        QCOMPARE(reader.objectWithString(QString("{\"") + QChar(0xFEFF) + "k\":\"" + QChar(0xFEFF) + "\"}").toMap(),
                 (QVariantMap{{QString(QChar(0xFEFF)) + "k", QString(QChar(0xFEFF))}}));
    }

    void nestingLimit()
    {
        TSKJSON reader;
        QVERIFY(reader.objectWithString(nested(512)).isValid());
        TSKJSON::OptionalError error;
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
    }

    void decimalsKeepDigitsAndPrintPlainly()
    {
        auto printed = [](const char *text) {
            const auto number = TSKDecimal::fromString(std::string_view(text));
            return number ? number->toString() : QString("fails");
        };
        QCOMPARE(printed("1.10"), QString("1.1"));
        QCOMPARE(printed("1e2"), QString("100"));
        QCOMPARE(printed("-0.5e-3"), QString("-0.0005"));
        QCOMPARE(printed("-0"), QString("0"));
        QCOMPARE(printed("0.000e5"), QString("0"));
        QCOMPARE(printed("123.456e1"), QString("1234.56"));
        QCOMPARE(printed("12345678901234567890123456789012345678"), QString("12345678901234567890123456789012345678"));
        QCOMPARE(printed("0.1234567890123456789012345678901234567899"), QString("0.12345678901234567890123456789012345678"));
        QCOMPARE(printed("1e-128"), QString("0.") + QString(127, '0') + "1");
        QCOMPARE(printed("1e128"), QString("1") + QString(128, '0'));
        QCOMPARE(printed("1e-129"), QString("fails"));
        QCOMPARE(printed("1e165"), QString("fails"));
        QCOMPARE(printed("e5"), QString("fails"));
        QCOMPARE(printed("1e99999999999999999999"), QString("fails"));
        QCOMPARE(TSKDecimal::fromString(QString("2.50")), TSKDecimal::fromString(QString("25e-1")));
        QCOMPARE(TSKDecimal::fromString(QString("-1.25e3"))->toDouble(), -1250.0);
        QCOMPARE(TSKDecimal(-42).toString(), QString("-42"));
    }

    void writerEscapesOnlyWhatItMust()
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
    }

    void writerLayoutAndKeyOrder()
    {
        TSKJSON writer;
        writer.setHumanReadable(true);
        writer.setSortKeys(true);
        QCOMPARE(writer.stringWithObject(QVariantHash{{"b", QVariantList{true}}, {"a", 1}}),
                 QString("{\n  \"a\" : 1,\n  \"b\" : [\n    true\n  ]\n}"));
        QCOMPARE(writer.stringWithObject(QVariantMap{}), QString("{}"));
        QCOMPARE(writer.stringWithObject(QVariantList{QVariantList{}}), QString("[\n  []\n]"));
        QCOMPARE(writer.indent(), QString("\n"));
    }

    void writerErrors()
    {
        TSKJSON writer;
        TSKJSON::OptionalError error;
        QVERIFY(writer.stringWithObject(QString("x"), &error).isNull());
        QCOMPARE(error->code, 4);
        QCOMPARE(error->localizedDescription(), QString("Not valid type for JSON"));

        QVERIFY(writer.stringWithObject(QVariantList{QVariant::fromValue(Opaque{})}, &error).isNull());
        QCOMPARE(error->code, 1);
        QCOMPARE(error->localizedDescription(), QString("JSON serialisation not supported for Opaque"));

        const QVariant numberKeyed = QVariant::fromValue(QMap<int, QVariant>{{1, "x"}});
        QVERIFY(writer.stringWithObject(numberKeyed, &error).isNull());
        QCOMPARE(error->code, 1);
        QCOMPARE(error->localizedDescription(), QString("JSON object key must be string"));

        QVERIFY(writer.stringWithObject(QVariantMap{{"k", numberKeyed}}, &error).isNull());
        QCOMPARE(error->code, 1);
        QCOMPARE(messageChain(*error), QString("Unsupported value for key k in object"));
    }

    void jsonifyNeverFails()
    {
        QVERIFY(TSKMacros::jsonify(QVariant()).isNull());
        QCOMPARE(TSKMacros::jsonify(QVariantList{QVariant::fromValue(Opaque{})}), QString(""));
        QVERIFY(!TSKMacros::jsonify(QVariantList{QVariant::fromValue(Opaque{})}).isNull());
        QCOMPARE(TSKMacros::jsonify(QVariantMap{{"kw", QVariantList{"a", "b"}}, {"n", 3}}),
                 QString("{\"kw\":[\"a\",\"b\"],\"n\":3}"));
    }
};

VELMORA_TEST_MAIN(TestJSON)
#include "tst_json.moc"
