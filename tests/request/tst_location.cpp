#include "TestMain.h"
#include "Utility/TSKLocation.h"

#include <openssl/evp.h>

#include <QtEndian>

#include <memory>

namespace {

// 2023-11-14 22:13:20.25 UTC.
constexpr double fixedTimestamp = 1700000000.25;

struct Decoded {
    QByteArray vector;
    QByteArray plain;  // still padded
};

// The ad server's side: strip the prefix, split off the vector, decipher.
std::optional<Decoded> decode(const QString &encoded)
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
    return Decoded{vector, plain.left(written)};
}

qint32 vectorWord(const Decoded &decoded, int index)
{
    return qFromLittleEndian<qint32>(decoded.vector.constData() + 4 * index);
}

}  // namespace

class TestLocation : public QObject
{
    Q_OBJECT
private slots:
    void validityAndEqualityIgnoringTheTime()
    {
        QVERIFY(TSKLocation::locationWithLatitudeLongitudeAccuracy(-90, -180, 0));
        for (const auto &[latitude, longitude] : {std::pair{91.f, 13.4f}, {52.5f, 180.5f}, {0.f, 13.4f}, {52.5f, 0.f},
                                                  {qQNaN(), 13.4f}})
            QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(latitude, longitude, 10));
        QVERIFY(!TSKLocation::locationWithDescription(QStringLiteral("")));

        auto precise = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 10);
        auto later = precise;
        later->setTimestamp(precise->timestamp() + 1);
        QCOMPARE(precise->description(), QStringLiteral("52.500000,13.250000"));
        QVERIFY(*precise == *later);
        QVERIFY(!(*precise == *TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 11)));

        auto city = TSKLocation::locationWithDescription(QStringLiteral("Berlin"));
        QVERIFY(*city == *TSKLocation::locationWithDescription(QStringLiteral("Berlin")));
        QVERIFY(!(*city == *TSKLocation::locationWithDescription(QStringLiteral("Bonn"))));
        // Text that reads like the coordinates is still another kind of location.
        QVERIFY(!(*TSKLocation::locationWithDescription(precise->description()) == *precise));
    }

    void preciseLocationDeciphersToItsPlainText()
    {
        auto location = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, -13.25f, 65.5f);
        location->setTimestamp(fixedTimestamp);
        const QString encoded = location->encodedRepresentation();
        const auto decoded = decode(encoded);
        QVERIFY(decoded);
        const QByteArray text = "role: 6 producer: 24 historical_role: 1 historical_producer: 12 "
                                "timestamp: 1700000000250000 latlng <latitude_e7: 525000000 "
                                "longitude_e7: -132500000> radius: 65500";
        const int padding = 16 - text.size() % 16;
        QCOMPARE(decoded->plain, text + QByteArray(padding, char(padding)));
        // Whole seconds times 1..4, clamped to 32 bits.
        QCOMPARE(vectorWord(*decoded, 0), 1700000000);
        for (int i = 1; i < 4; ++i)
            QCOMPARE(vectorWord(*decoded, i), 2147483647);
        QCOMPARE(location->encodedRepresentation(), encoded);
    }

    void descriptionGetsQuotesReplacedAndAFullPaddingBlock()
    {
        const QByteArray prefix = "role: 4 producer: 24 historical_role: 1 historical_producer: 12 "
                                  "timestamp: 1700000000250000 loc: \"";
        QString description = QStringLiteral("Caf\"e %1");
        while ((prefix.size() + description.size() + 1) % 16)
            description += QLatin1Char('x');
        auto location = TSKLocation::locationWithDescription(description);
        location->setTimestamp(fixedTimestamp);
        const auto decoded = decode(location->encodedRepresentation());
        QVERIFY(decoded);
        QCOMPARE(decoded->plain, prefix + description.replace(QLatin1Char('"'), QLatin1Char('\'')).toLatin1() + "\""
                                     + QByteArray(16, char(16)));
    }

    void extremeValuesAndArbitraryTextStayWellDefined()
    {
        auto location = TSKLocation::locationWithLatitudeLongitudeAccuracy(1e-3f, 1e-3f, 3e38f);
        location->setTimestamp(1.5);
        const auto decoded = decode(location->encodedRepresentation());
        QVERIFY(decoded->plain.contains("timestamp: 1500000 latlng <latitude_e7: 10000 longitude_e7: 10000> "
                                        "radius: 2147483647"));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(vectorWord(*decoded, i), i + 1);
        location->setTimestamp(-1e300);
        QCOMPARE(vectorWord(*decode(location->encodedRepresentation()), 3), -2147483647 - 1);

        // Non-ASCII text is counted in characters, so its bytes miss the block size: not sent.
        QVERIFY(TSKLocation::locationWithDescription(QStringLiteral("Zürich"))->encodedRepresentation().isNull());
        for (const QString &text : {QString(QChar(0xD800)), QString(1, QChar(0)), QString(100000, QLatin1Char('"')),
                                    QStringLiteral("\U0001F600 \U0001F600")}) {
            const QString encoded = TSKLocation::locationWithDescription(text)->encodedRepresentation();
            QVERIFY(encoded.isNull() || decode(encoded));
        }
    }
};

VELMORA_TEST_MAIN(TestLocation)
#include "tst_location.moc"
