#include "Privacy/AdvertisingIdentifier.h"

#include "UserDefaults.h"

#include <QRandomGenerator>

using namespace Velmora::Platform;

namespace Velmora::Ads {
namespace {

const QString IdentifierKey = QStringLiteral("tiskos_identifier");

}  // namespace

AdvertisingIdentifier &AdvertisingIdentifier::shared()
{
    static AdvertisingIdentifier *const identifier = new AdvertisingIdentifier(UserDefaults::standard());
    return *identifier;
}

AdvertisingIdentifier::AdvertisingIdentifier(UserDefaults &store) : store_(store)
{
}

QByteArray AdvertisingIdentifier::bytes()
{
    QByteArray bytes = stored();
    if (bytes.isEmpty()) {
        reset();
        bytes = stored();
    }
    return bytes;
}

bool AdvertisingIdentifier::exists() const
{
    return !stored().isEmpty();
}

// From the system's generator: the bytes must not be guessable from the time
// or from another program's.
void AdvertisingIdentifier::reset()
{
    quint32 words[kByteCount / sizeof(quint32)];
    QRandomGenerator::system()->fillRange(words);
    store(QByteArray(reinterpret_cast<const char *>(words), kByteCount));
}

void AdvertisingIdentifier::erase()
{
    if (exists())
        store({});
}

// Anything but the hex text of 16 bytes counts as none.
QByteArray AdvertisingIdentifier::stored() const
{
    const QByteArray bytes = QByteArray::fromHex(store_.stringForKey(IdentifierKey).toLatin1());
    return bytes.size() == kByteCount ? bytes : QByteArray();
}

void AdvertisingIdentifier::store(const QByteArray &bytes)
{
    store_.setObjectForKey(bytes.isEmpty() ? QVariant() : QVariant(QString::fromLatin1(bytes.toHex())), IdentifierKey);
    store_.synchronize();
}

}  // namespace Velmora::Ads
