#include "Utility/TSKLocation.h"

#include "toolbox/TSKStringEncoding.h"

#include <openssl/evp.h>

#include <QtEndian>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

namespace {

constexpr float epsilon = std::numeric_limits<float>::epsilon();
constexpr int blockSize = 16;

double now()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count() / 1e6;
}

// Truncates toward zero into the signed 32-bit range; the server reads 32-bit
// fields, and an out-of-range conversion must not be left undefined.
qint32 truncatedToInt32(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= double(std::numeric_limits<qint32>::max()))
        return std::numeric_limits<qint32>::max();
    if (value <= double(std::numeric_limits<qint32>::min()))
        return std::numeric_limits<qint32>::min();
    return qint32(value);
}

QString padded(QString text)
{
    const int count = blockSize - int(text.size() % blockSize);
    return text.append(QString(count, QChar(count)));
}

QByteArray initialisationVector(double timestamp)
{
    const double seconds = std::trunc(timestamp);
    QByteArray vector(blockSize, Qt::Uninitialized);
    for (int i = 0; i < 4; ++i)
        qToLittleEndian<qint32>(truncatedToInt32(seconds * (i + 1)), vector.data() + 4 * i);
    return vector;
}

// AES-128-CBC without cipher padding; empty on any cipher error, including
// input that is not a whole number of blocks.
std::optional<QByteArray> encipher(const QByteArray &plain, const QByteArray &key, const QByteArray &vector)
{
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                 EVP_CIPHER_CTX_free);
    if (!context)
        return std::nullopt;
    const auto *keyBytes = reinterpret_cast<const unsigned char *>(key.constData());
    const auto *vectorBytes = reinterpret_cast<const unsigned char *>(vector.constData());
    if (EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, keyBytes, vectorBytes) != 1
        || EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1)
        return std::nullopt;

    QByteArray cipher(plain.size() + blockSize, Qt::Uninitialized);
    auto *out = reinterpret_cast<unsigned char *>(cipher.data());
    int written = 0;
    int finalWritten = 0;
    if (EVP_EncryptUpdate(context.get(), out, &written, reinterpret_cast<const unsigned char *>(plain.constData()),
                          int(plain.size()))
            != 1
        || EVP_EncryptFinal_ex(context.get(), out + written, &finalWritten) != 1)
        return std::nullopt;
    cipher.truncate(written + finalWritten);
    return cipher;
}

}  // namespace

TSKLocation::TSKLocation(float latitude, float longitude, float accuracy, const QString &description)
    : latitude_(latitude), longitude_(longitude), accuracy_(accuracy), description_(description), timestamp_(now())
{
}

std::optional<TSKLocation> TSKLocation::locationWithLatitudeLongitudeAccuracy(float latitude, float longitude,
                                                                             float accuracy)
{
    const TSKLocation location(latitude, longitude, accuracy, QString());
    if (!location.isPreciseLocation())
        return std::nullopt;
    return location;
}

std::optional<TSKLocation> TSKLocation::locationWithDescription(const QString &description)
{
    if (description.isEmpty())
        return std::nullopt;
    return TSKLocation(0, 0, 0, description);
}

QByteArray TSKLocation::encryptionKey()
{
    return QByteArray::fromHex("5be2c7a0193d4f86e1a27c0b94d3f658");
}

bool TSKLocation::isPreciseLocation() const
{
    return std::fabs(latitude_) <= 90 && std::fabs(longitude_) <= 180 && std::fabs(latitude_) > epsilon
        && std::fabs(longitude_) > epsilon;
}

QString TSKLocation::description() const
{
    if (!description_.isNull())
        return description_;
    if (isPreciseLocation())
        return QString::asprintf("%f,%f", double(latitude_), double(longitude_));
    return QStringLiteral("");
}

bool TSKLocation::operator==(const TSKLocation &other) const
{
    if (isPreciseLocation() != other.isPreciseLocation())
        return false;
    if (!isPreciseLocation())
        return description() == other.description();
    return std::fabs(latitude_ - other.latitude_) < epsilon && std::fabs(longitude_ - other.longitude_) < epsilon
        && std::fabs(accuracy_ - other.accuracy_) < epsilon;
}

QString TSKLocation::plainText() const
{
    const QString microseconds = QString::asprintf("%.0f", timestamp_ * 1000000);
    if (isPreciseLocation()) {
        return QStringLiteral("role: 6 producer: 24 historical_role: 1 historical_producer: 12 timestamp: %1 "
                              "latlng <latitude_e7: %2 longitude_e7: %3> radius: %4")
            .arg(microseconds)
            .arg(truncatedToInt32(double(latitude_) * 10000000))
            .arg(truncatedToInt32(double(longitude_) * 10000000))
            .arg(truncatedToInt32(double(accuracy_) * 1000));
    }
    QString text = description();
    text.replace(QLatin1Char('"'), QLatin1Char('\''));
    return QStringLiteral("role: 4 producer: 24 historical_role: 1 historical_producer: 12 timestamp: ")
        + microseconds + QStringLiteral(" loc: \"") + text + QLatin1Char('"');
}

QString TSKLocation::encodedRepresentation() const
{
    const QByteArray vector = initialisationVector(timestamp_);
    const std::optional<QByteArray> cipher = encipher(padded(plainText()).toUtf8(), encryptionKey(), vector);
    if (!cipher)
        return QString();
    TSKStringEncoding encoding = TSKStringEncoding::rfc4648Base64WebsafeStringEncoding();
    encoding.setDoPad(false);
    return QStringLiteral("e1+") + encoding.encode(vector + *cipher);
}
