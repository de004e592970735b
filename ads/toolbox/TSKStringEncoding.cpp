#include "toolbox/TSKStringEncoding.h"

#include <QtGlobal>

#include <bit>
#include <numeric>

namespace {

const char *const Base32Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
const char *const Base32HexAlphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUV";
const char *const CrockfordAlphabet = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
const char *const Base64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char *const WebsafeAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

bool isAscii(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() >= 128)
            return false;
    }
    return true;
}

}  // namespace

TSKStringEncoding::TSKStringEncoding(const QByteArray &alphabet)
    : charMapData_(alphabet)
{
    reverseCharMap_.fill(Invalid);
    for (qsizetype i = 0; i < alphabet.size(); ++i)
        reverseCharMap_[uchar(alphabet[i])] = qint8(i);
    shift_ = std::countr_zero(unsigned(alphabet.size()));
    mask_ = (1 << shift_) - 1;
    padLen_ = std::lcm(shift_, 8) / shift_;
}

std::optional<TSKStringEncoding> TSKStringEncoding::stringEncodingWithString(const QString &alphabet)
{
    const qsizetype size = alphabet.size();
    if (!isAscii(alphabet) || size < 2 || size > 128 || (size & (size - 1)) != 0)
        return std::nullopt;
    const QByteArray bytes = alphabet.toLatin1();
    std::array<bool, 128> seen{};
    for (const char c : bytes) {
        if (seen[uchar(c)])
            return std::nullopt;
        seen[uchar(c)] = true;
    }
    return TSKStringEncoding(bytes);
}

TSKStringEncoding TSKStringEncoding::named(const char *alphabet)
{
    return TSKStringEncoding(QByteArray(alphabet));
}

TSKStringEncoding TSKStringEncoding::padded(const char *alphabet)
{
    TSKStringEncoding encoding = named(alphabet);
    encoding.setPaddingChar('=');
    encoding.setDoPad(true);
    return encoding;
}

TSKStringEncoding TSKStringEncoding::binaryStringEncoding()
{
    return named("01");
}

TSKStringEncoding TSKStringEncoding::hexStringEncoding()
{
    TSKStringEncoding encoding = named("0123456789ABCDEF");
    encoding.addDecodeSynonyms(QStringLiteral("AaBbCcDdEeFf"));
    return encoding;
}

TSKStringEncoding TSKStringEncoding::rfc4648Base32StringEncoding()
{
    return padded(Base32Alphabet);
}

TSKStringEncoding TSKStringEncoding::rfc4648Base32HexStringEncoding()
{
    return padded(Base32HexAlphabet);
}

TSKStringEncoding TSKStringEncoding::crockfordBase32StringEncoding()
{
    TSKStringEncoding encoding = named(CrockfordAlphabet);
    encoding.addDecodeSynonyms(QStringLiteral("0oO1iIlLAaBbCcDdEeFfGgHhJjKkMmNnPpQqRrSsTtVvWwXxYyZz"));
    return encoding;
}

TSKStringEncoding TSKStringEncoding::rfc4648Base64StringEncoding()
{
    return padded(Base64Alphabet);
}

TSKStringEncoding TSKStringEncoding::rfc4648Base64WebsafeStringEncoding()
{
    return padded(WebsafeAlphabet);
}

void TSKStringEncoding::setDoPad(bool doPad)
{
    doPad_ = doPad;
    qint8 &entry = reverseCharMap_[uchar(paddingChar_) & 127];
    if (doPad && entry == Invalid)
        entry = Padding;
}

void TSKStringEncoding::setPaddingChar(char paddingChar)
{
    paddingChar_ = paddingChar;
    reverseCharMap_[uchar(paddingChar) & 127] = Padding;
}

void TSKStringEncoding::addDecodeSynonyms(const QString &synonyms)
{
    qint8 current = Invalid;
    for (const QChar c : synonyms) {
        if (c.unicode() >= 128)
            continue;
        qint8 &entry = reverseCharMap_[c.unicode()];
        if (entry != Invalid)
            current = entry;
        else
            entry = current;
    }
}

void TSKStringEncoding::ignoreCharacters(const QString &characters)
{
    for (const QChar c : characters) {
        if (c.unicode() >= 128)
            continue;
        qint8 &entry = reverseCharMap_[c.unicode()];
        Q_ASSERT_X(entry == Invalid, "TSKStringEncoding::ignoreCharacters", "Character already mapped");
        entry = Ignored;
    }
}

QString TSKStringEncoding::description() const
{
    return QStringLiteral("<Base%1 StringEncoder: %2>").arg(charMapData_.size()).arg(QString::fromLatin1(charMapData_));
}

// Three bytes make four characters: the common base 64 case without the bit buffer.
void TSKStringEncoding::encodeBase64Blocks(const uchar *&in, const uchar *end, char16_t *&out) const
{
    const char *map = charMapData_.constData();
    while (end - in >= 3) {
        const quint32 block = quint32(in[0]) << 16 | quint32(in[1]) << 8 | in[2];
        out[0] = uchar(map[block >> 18]);
        out[1] = uchar(map[(block >> 12) & 63]);
        out[2] = uchar(map[(block >> 6) & 63]);
        out[3] = uchar(map[block & 63]);
        in += 3;
        out += 4;
    }
}

QString TSKStringEncoding::encode(const QByteArray &data) const
{
    if (data.isEmpty())
        return QString("");
    const qsizetype bits = data.size() * 8;
    qsizetype length = (bits + shift_ - 1) / shift_;
    if (doPad_)
        length = (length + padLen_ - 1) / padLen_ * padLen_;

    QString text(length, Qt::Uninitialized);
    char16_t *out = reinterpret_cast<char16_t *>(text.data());
    char16_t *const begin = out;
    const uchar *in = reinterpret_cast<const uchar *>(data.constData());
    const uchar *const end = in + data.size();
    if (shift_ == 6)
        encodeBase64Blocks(in, end, out);

    const char *map = charMapData_.constData();
    quint32 buffer = 0;
    int held = 0;
    for (; in < end; ++in) {
        buffer = (buffer << 8) | *in;
        held += 8;
        while (held >= shift_) {
            held -= shift_;
            *out++ = uchar(map[(buffer >> held) & quint32(mask_)]);
        }
    }
    if (held > 0)
        *out++ = uchar(map[(buffer << (shift_ - held)) & quint32(mask_)]);
    if (doPad_) {
        while (out - begin < length)
            *out++ = uchar(paddingChar_);
    }
    if (out - begin != length)
        qFatal("Underflowed output buffer");
    return text;
}

QString TSKStringEncoding::encodeString(const QString &text) const
{
    return encode(text.toUtf8());
}

// Four alphabet characters make three bytes; stops at the first character that needs the general path.
bool TSKStringEncoding::decodeBase64Blocks(const char16_t *&inOut, const char16_t *end, uchar *&outOut) const
{
    // Local copies: byte stores could otherwise alias the caller's pointers and force reloads.
    const char16_t *in = inOut;
    uchar *out = outOut;
    const qint8 *map = reverseCharMap_.data();
    bool ascii = true;
    while (end - in >= 4) {
        const char16_t c0 = in[0], c1 = in[1], c2 = in[2], c3 = in[3];
        if ((c0 | c1 | c2 | c3) >= 128) {
            ascii = false;
            break;
        }
        const int a = map[c0], b = map[c1], c = map[c2], d = map[c3];
        if ((a | b | c | d) < 0)
            break;
        const quint32 block = quint32(a) << 18 | quint32(b) << 12 | quint32(c) << 6 | quint32(d);
        out[0] = uchar(block >> 16);
        out[1] = uchar(block >> 8);
        out[2] = uchar(block);
        in += 4;
        out += 3;
    }
    inOut = in;
    outOut = out;
    return ascii;
}

std::optional<QByteArray> TSKStringEncoding::decode(const QString &text) const
{
    const qsizetype capacity = qsizetype(shift_) * text.size() / 8;
    QByteArray data(capacity, Qt::Uninitialized);
    uchar *out = reinterpret_cast<uchar *>(data.data());
    uchar *const begin = out;
    const char16_t *in = reinterpret_cast<const char16_t *>(text.constData());
    const char16_t *const end = in + text.size();
    if (shift_ == 6 && !decodeBase64Blocks(in, end, out))
        return std::nullopt;

    quint32 buffer = 0;
    int held = 0;
    bool paddingSeen = false;
    for (; in < end; ++in) {
        if (*in >= 128)
            return std::nullopt;
        const int value = reverseCharMap_[*in];
        if (value == Padding) {
            paddingSeen = true;
            continue;
        }
        if (value == Ignored)
            continue;
        if (value == Invalid || paddingSeen)
            return std::nullopt;
        buffer = (buffer << shift_) | quint32(value);
        held += shift_;
        if (held >= 8) {
            held -= 8;
            if (out - begin >= capacity)
                qFatal("Overflowed buffer");
            *out++ = uchar(buffer >> held);
        }
    }
    if (held > 0 && (buffer & ((1u << held) - 1)) != 0)
        return std::nullopt;
    data.truncate(out - begin);
    return data;
}

QString TSKStringEncoding::stringByDecoding(const QString &text) const
{
    const std::optional<QByteArray> data = decode(text);
    return data ? QString::fromUtf8(*data) : QString();
}
