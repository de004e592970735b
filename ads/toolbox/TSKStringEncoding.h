#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

// Bytes to text and back for any alphabet of 2, 4, ..., 128 ASCII characters.
// The input is one bit stream, most significant bit first; each character carries log2(size) bits.
class TSKStringEncoding
{
public:
    static TSKStringEncoding binaryStringEncoding();
    static TSKStringEncoding hexStringEncoding();
    static TSKStringEncoding rfc4648Base32StringEncoding();
    static TSKStringEncoding rfc4648Base32HexStringEncoding();
    static TSKStringEncoding crockfordBase32StringEncoding();
    static TSKStringEncoding rfc4648Base64StringEncoding();
    static TSKStringEncoding rfc4648Base64WebsafeStringEncoding();
    // Empty when the alphabet is not ASCII, not a power of two long (2..128) or repeats a character.
    static std::optional<TSKStringEncoding> stringEncodingWithString(const QString &alphabet);

    QString encode(const QByteArray &data) const;
    QString encodeString(const QString &text) const;
    // Empty on a character outside the alphabet, a value after padding, or non-zero leftover bits.
    std::optional<QByteArray> decode(const QString &text) const;
    // The decoded bytes as UTF-8; a null string when decoding fails.
    QString stringByDecoding(const QString &text) const;

    bool doPad() const { return doPad_; }
    // Padding on also lets the decoder accept the padding character, so encoded text always decodes.
    void setDoPad(bool doPad);
    void setPaddingChar(char paddingChar);
    // Groups, each an alphabet character followed by characters that decode like it ("0oO").
    void addDecodeSynonyms(const QString &synonyms);
    void ignoreCharacters(const QString &characters);

    QString description() const;

private:
    enum : qint8 { Invalid = -1, Padding = -2, Ignored = -3 };

    explicit TSKStringEncoding(const QByteArray &alphabet);
    static TSKStringEncoding named(const char *alphabet);
    // The RFC 4648 alphabets pad with '=' by default.
    static TSKStringEncoding padded(const char *alphabet);
    void encodeBase64Blocks(const uchar *&in, const uchar *end, char16_t *&out) const;
    bool decodeBase64Blocks(const char16_t *&in, const char16_t *end, uchar *&out) const;

    QByteArray charMapData_;
    std::array<qint8, 128> reverseCharMap_{};
    int shift_ = 0;
    int mask_ = 0;
    bool doPad_ = false;
    char paddingChar_ = '=';
    int padLen_ = 0;
};
