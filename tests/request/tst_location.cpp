#include "TestMain.h"
#include "Utility/TSKLocation.h"

#include <openssl/evp.h>

#include <QRegularExpression>
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
    if (!encoded.startsWith(QStringLiteral("e1+")))
        return std::nullopt;
    const auto decoded = QByteArray::fromBase64Encoding(encoded.mid(3).toLatin1(),
                                                        QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() < 32 || decoded.decoded.size() % 16)
        return std::nullopt;
    const QByteArray vector = decoded.decoded.left(16), cipher = decoded.decoded.mid(16);
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    const QByteArray key = QByteArray::fromHex("5be2c7a0193d4f86e1a27c0b94d3f658");
    EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, reinterpret_cast<const unsigned char *>(key.data()),
                       reinterpret_cast<const unsigned char *>(vector.data()));
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    QByteArray plain(cipher.size(), Qt::Uninitialized);
    int written = 0, finalWritten = 0;
    if (EVP_DecryptUpdate(context.get(), reinterpret_cast<unsigned char *>(plain.data()), &written,
                          reinterpret_cast<const unsigned char *>(cipher.data()), int(cipher.size())) != 1
        || EVP_DecryptFinal_ex(context.get(), reinterpret_cast<unsigned char *>(plain.data()) + written, &finalWritten) != 1)
        return std::nullopt;
    return Decoded{vector, plain.left(written + finalWritten)};
}

QByteArray padding(int count)
{
    return QByteArray(count, char(count));
}

}  // namespace

class TestLocation : public QObject
{
    Q_OBJECT
private slots:
    void coordinatesMustBePrecise()
    {
        QVERIFY(TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.4f, 10));
        QVERIFY(TSKLocation::locationWithLatitudeLongitudeAccuracy(-90, -180, 0));
        QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(91, 13.4f, 10));
        QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 180.5f, 10));
        QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(0, 13.4f, 10));
        QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 0, 10));
        QVERIFY(!TSKLocation::locationWithLatitudeLongitudeAccuracy(qQNaN(), 13.4f, 10));
        QVERIFY(!TSKLocation::locationWithDescription(QString()));
        QVERIFY(!TSKLocation::locationWithDescription(QStringLiteral("")));
    }

    void descriptionAndEqualityIgnoreTheTime()
    {
        auto precise = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 10);
        auto later = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 10);
        later->setTimestamp(precise->timestamp() + 1);
        QCOMPARE(precise->description(), QStringLiteral("52.500000,13.250000"));
        QVERIFY(*precise == *later);
        QVERIFY(!(*precise == *TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, 13.25f, 11)));

        auto city = TSKLocation::locationWithDescription(QStringLiteral("Berlin"));
        QCOMPARE(city->description(), QStringLiteral("Berlin"));
        QVERIFY(*city == *TSKLocation::locationWithDescription(QStringLiteral("Berlin")));
        QVERIFY(!(*city == *TSKLocation::locationWithDescription(QStringLiteral("Bonn"))));
        QVERIFY(!(*city == *precise));
        // A description that reads like the coordinates is still another kind of location.
        QVERIFY(!(*TSKLocation::locationWithDescription(precise->description()) == *precise));
    }

    void preciseLocationDecipheresToItsPlainText()
    {
        auto location = TSKLocation::locationWithLatitudeLongitudeAccuracy(52.5f, -13.25f, 65.5f);
        location->setTimestamp(fixedTimestamp);
        const QString encoded = location->encodedRepresentation();
        QVERIFY(QRegularExpression(QStringLiteral("^e1\\+[A-Za-z0-9_-]+$")).match(encoded).hasMatch());
        const auto decoded = decode(encoded);
        QVERIFY(decoded);

        const QByteArray text = "role: 6 producer: 24 historical_role: 1 historical_producer: 12 "
                                "timestamp: 1700000000250000 latlng <latitude_e7: 525000000 "
                                "longitude_e7: -132500000> radius: 65500";
        QCOMPARE(decoded->plain, text + padding(16 - text.size() % 16));

        // Seconds times 1..4, clamped to 32 bits, little-endian.
        QCOMPARE(qFromLittleEndian<qint32>(decoded->vector.constData()), 1700000000);
        for (int i = 1; i < 4; ++i)
            QCOMPARE(qFromLittleEndian<qint32>(decoded->vector.constData() + 4 * i), 2147483647);

        QCOMPARE(location->encodedRepresentation(), encoded);
    }

    void descriptionDeciphersWithQuotesReplacedAndFullBlockPadding()
    {
        // A description that makes the whole text a multiple of 16 characters.
        const QByteArray prefix = "role: 4 producer: 24 historical_role: 1 historical_producer: 12 "
                                  "timestamp: 1700000000250000 loc: \"";
        QString description = QStringLiteral("Caf\"e");
        while ((prefix.size() + description.size() + 1) % 16)
            description += QLatin1Char('x');
        auto location = TSKLocation::locationWithDescription(description);
        location->setTimestamp(fixedTimestamp);
        const auto decoded = decode(location->encodedRepresentation());
        QVERIFY(decoded);
        QString sent = description;
        sent.replace(QLatin1Char('"'), QLatin1Char('\''));
        QCOMPARE(decoded->plain, prefix + sent.toLatin1() + "\"" + padding(16));
    }

    void smallAndHugeValuesStayInRange()
    {
        auto location = TSKLocation::locationWithLatitudeLongitudeAccuracy(1e-3f, 1e-3f, 3e38f);
        location->setTimestamp(1.5);
        const auto decoded = decode(location->encodedRepresentation());
        QVERIFY(decoded);
        QVERIFY(decoded->plain.contains("timestamp: 1500000 latlng <latitude_e7: 10000 longitude_e7: 10000> "
                                        "radius: 2147483647"));
        const qint32 expected[4] = {1, 2, 3, 4};
        for (int i = 0; i < 4; ++i)
            QCOMPARE(qFromLittleEndian<qint32>(decoded->vector.constData() + 4 * i), expected[i]);

        location->setTimestamp(-1e300);
        QVERIFY(decode(location->encodedRepresentation()));
    }

    void nonAsciiDescriptionIsNotSent()
    {
        auto location = TSKLocation::locationWithDescription(QStringLiteral("Zürich"));
        QCOMPARE(location->description(), QStringLiteral("Zürich"));
        QVERIFY(location->encodedRepresentation().isNull());
    }

    void anyTextEncodesOrIsLeftOut()
    {
        const QString texts[] = {QString(QChar(0xD800)), QString(1, QChar(0)) + QStringLiteral("a"),
                                 QString(100000, QLatin1Char('"')), QStringLiteral("%1 %2 \\n"),
                                 QString(7, QChar(0x1F600))};
        for (const QString &text : texts) {
            auto location = TSKLocation::locationWithDescription(text);
            const QString encoded = location->encodedRepresentation();
            if (!encoded.isNull())
                QVERIFY(decode(encoded));
        }
        // Pure ASCII always fills whole blocks.
        auto ascii = TSKLocation::locationWithDescription(QStringLiteral("%1 %2 \\n \" \x01"));
        ascii->setTimestamp(fixedTimestamp);
        const auto decoded = decode(ascii->encodedRepresentation());
        QVERIFY(decoded);
        QVERIFY(decoded->plain.contains("loc: \"%1 %2 \\n ' \x01\""));
    }
};

VELMORA_TEST_MAIN(TestLocation)
#include "tst_location.moc"
