#include "TestMain.h"
#include "toolbox/TSKStringEncoding.h"

#include <QRandomGenerator>

class TestStringEncoding : public QObject
{
    Q_OBJECT
private slots:
    void everyAlphabetRoundTripsEveryLength()
    {
        const std::vector<TSKStringEncoding> encodings{
            TSKStringEncoding::binaryStringEncoding(),          TSKStringEncoding::hexStringEncoding(),
            TSKStringEncoding::rfc4648Base32StringEncoding(),   TSKStringEncoding::rfc4648Base32HexStringEncoding(),
            TSKStringEncoding::crockfordBase32StringEncoding(), TSKStringEncoding::rfc4648Base64StringEncoding(),
            TSKStringEncoding::rfc4648Base64WebsafeStringEncoding(),
            *TSKStringEncoding::stringEncodingWithString("abcd"),
            *TSKStringEncoding::stringEncodingWithString(allAscii())};
        QRandomGenerator random(42);
        for (const TSKStringEncoding &encoding : encodings) {
            for (int length = 0; length < 40; ++length) {
                QByteArray data(length, Qt::Uninitialized);
                for (char &byte : data)
                    byte = char(random.bounded(256));
                const QString text = encoding.encode(data);
                QCOMPARE(encoding.decode(text), std::optional<QByteArray>(data));
                TSKStringEncoding unpadded = encoding;
                unpadded.setDoPad(false);
                QCOMPARE(encoding.decode(unpadded.encode(data)), std::optional<QByteArray>(data));
            }
        }
    }

    void knownVectors()
    {
        const TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
        QCOMPARE(base64.encodeString("foobar"), QString("Zm9vYmFy"));
        QCOMPARE(base64.encodeString("fo"), QString("Zm8="));
        QCOMPARE(base64.encode({}), QString(""));
        QCOMPARE(TSKStringEncoding::rfc4648Base32StringEncoding().encodeString("f"), QString("MY======"));
        QCOMPARE(TSKStringEncoding::rfc4648Base32HexStringEncoding().encodeString("fo"), QString("CPNG===="));
        QCOMPARE(TSKStringEncoding::hexStringEncoding().encode(QByteArray::fromHex("0a1bff")), QString("0A1BFF"));
        QCOMPARE(TSKStringEncoding::binaryStringEncoding().encode(QByteArray("\x81", 1)), QString("10000001"));
        QCOMPARE(base64.stringByDecoding("Y2Fmw6k="), QString::fromUtf8("café"));

        TSKStringEncoding websafe = TSKStringEncoding::rfc4648Base64WebsafeStringEncoding();
        const QByteArray fb(16, char(0xFB));
        const QString padded = websafe.encode(fb);
        QCOMPARE(padded.size(), 24);
        QVERIFY(padded.endsWith("=="));
        websafe.setDoPad(false);
        const QString bare = websafe.encode(fb);
        QCOMPARE(bare.size(), 22);
        QVERIFY(bare.endsWith('w'));
        QVERIFY(!bare.contains('+') && !bare.contains('/') && bare.contains('-') && bare.contains('_'));
    }

    void decoderRejectsWhatIsNotCanonical()
    {
        const TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
        QCOMPARE(base64.decode("AA=="), std::optional<QByteArray>(QByteArray(1, '\0')));
        QCOMPARE(base64.decode("AA"), std::optional<QByteArray>(QByteArray(1, '\0')));
        QCOMPARE(base64.decode("AA======"), std::optional<QByteArray>(QByteArray(1, '\0')));
        QVERIFY(!base64.decode("AB=="));                      // leftover bits set
        QVERIFY(!base64.decode("AA=A"));                      // value after padding
        QVERIFY(!base64.decode("Zm9v-mFy"));                  // other alphabet
        QVERIFY(!base64.decode(QString::fromUtf8("Zm9vé")));  // not ASCII
        QVERIFY(base64.stringByDecoding("B").isNull());

        const TSKStringEncoding hex = TSKStringEncoding::hexStringEncoding();
        QCOMPARE(hex.decode("0a1B"), std::optional<QByteArray>(QByteArray::fromHex("0a1b")));
        QVERIFY(!hex.decode("0G"));
        QVERIFY(!hex.decode("0A="));  // '=' is no padding here
    }

    void synonymsAndIgnoredCharacters()
    {
        const TSKStringEncoding crockford = TSKStringEncoding::crockfordBase32StringEncoding();
        QCOMPARE(crockford.decode("OLil"), crockford.decode("0111"));
        QCOMPARE(crockford.decode("abcd"), crockford.decode("ABCD"));
        QVERIFY(!crockford.decode("U"));

        TSKStringEncoding base64 = TSKStringEncoding::rfc4648Base64StringEncoding();
        base64.ignoreCharacters(" \n");
        QCOMPARE(base64.decode("Zm9v\nYmFy "), std::optional<QByteArray>("foobar"));

        TSKStringEncoding custom = *TSKStringEncoding::stringEncodingWithString("ab");
        custom.setPaddingChar('.');
        custom.setDoPad(true);
        QCOMPARE(custom.encode(QByteArray(1, '\x0f')), QString("aaaabbbb"));
        QCOMPARE(custom.decode("aaaabbbb.."), std::optional<QByteArray>(QByteArray(1, '\x0f')));
        custom.addDecodeSynonyms("aAbB");
        QCOMPARE(custom.decode("AAAABBBB"), std::optional<QByteArray>(QByteArray(1, '\x0f')));
    }

    void badAlphabetsAndDescription()
    {
        QVERIFY(!TSKStringEncoding::stringEncodingWithString("abc"));
        QVERIFY(!TSKStringEncoding::stringEncodingWithString("abca"));
        QVERIFY(!TSKStringEncoding::stringEncodingWithString("a"));
        QVERIFY(!TSKStringEncoding::stringEncodingWithString(QString::fromUtf8("aé")));
        QVERIFY(!TSKStringEncoding::stringEncodingWithString(allAscii() + allAscii()));
        QVERIFY(TSKStringEncoding::rfc4648Base64StringEncoding().description().startsWith("<Base64 StringEncoder: "));
        QCOMPARE(TSKStringEncoding::hexStringEncoding().description(), QString("<Base16 StringEncoder: 0123456789ABCDEF>"));
    }

private:
    static QString allAscii()
    {
        QString text;
        for (char16_t c = 0; c < 128; ++c)
            text += QChar(c);
        return text;
    }
};

VELMORA_TEST_MAIN(TestStringEncoding)
#include "tst_stringencoding.moc"
