#pragma once

#include "Error.h"

#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <array>
#include <optional>

extern const QString TSKJSONErrorDomain;

// JSON text <-> property-list values (QVariantMap, QVariantList, QString,
// TSKDecimal for every number read, bool, null). Failures come back as an
// empty result plus, when asked for, an error in TSKJSONErrorDomain.
// One instance is used by one thread at a time.
class TSKJSON
{
public:
    using OptionalError = std::optional<Velmora::Platform::Error>;

    unsigned maxDepth() const { return maxDepth_; }
    // Deepest nesting the reader accepts; 0 lifts the limit (then the call stack is the limit).
    void setMaxDepth(unsigned maxDepth) { maxDepth_ = maxDepth; }
    bool sortKeys() const { return sortKeys_; }
    void setSortKeys(bool sortKeys) { sortKeys_ = sortKeys; }
    bool humanReadable() const { return humanReadable_; }
    void setHumanReadable(bool humanReadable) { humanReadable_ = humanReadable; }

    // A top-level object or array; a null string is an error.
    QVariant objectWithString(const QString &text, OptionalError *error = nullptr);
    // Any JSON value, scalars included.
    QVariant fragmentWithString(const QString &text, OptionalError *error = nullptr);
    QVariant objectWithStringAllowScalar(const QString &text, bool allowScalar, OptionalError *error = nullptr);
    // The same from UTF-8 bytes, as they come off the network.
    QVariant objectWithUTF8(QByteArrayView utf8, bool allowScalar, OptionalError *error = nullptr);

    QString stringWithObject(const QVariant &value, OptionalError *error = nullptr);
    QString stringWithFragment(const QVariant &value, OptionalError *error = nullptr);
    QString stringWithObjectAllowScalar(const QVariant &value, bool allowScalar, OptionalError *error = nullptr);

    QString indent() const;

private:
    bool scanValue(QVariant &value);
    bool scanRestOfNull(QVariant &value);
    bool scanRestOfFalse(QVariant &value);
    bool scanRestOfTrue(QVariant &value);
    bool scanRestOfString(QString &string);
    bool scanRestOfKey(QString &key);
    void flushPending(QString &string);
    bool scanNumber(QVariant &value);
    bool scanRestOfDictionary(QVariant &value);
    bool scanRestOfArray(QVariant &value);
    bool enterNesting();
    void leaveNesting();
    bool scanSeparator(char closer);
    bool scanUnicodeChar(char16_t &unit);
    bool scanHexQuad(char16_t &unit);
    bool scanIsAtEnd();
    bool scanLiteral(const char *rest, QVariant literal, QVariant &value, const char *message);
    void skipWhitespace();
    char current() const { return cursor_ < end_ ? *cursor_ : '\0'; }
    void step() { cursor_ += cursor_ < end_; }

    class Output;
    bool appendValue(const QVariant &value, Output &out);
    bool appendDictionary(const QVariantMap &dictionary, Output &out);
    bool appendAssociative(const QVariant &dictionary, Output &out);
    bool appendArray(const QVariantList &array, Output &out);
    bool appendSequential(const QVariant &array, Output &out);
    bool appendMember(const QString &key, const QVariant &value, bool first, Output &out);
    bool appendElement(const QVariant &element, bool first, Output &out);
    void appendString(QStringView string, Output &out);
    void closeContainer(bool empty, char16_t bracket, Output &out);

    bool fail(int code, const QString &message);
    bool failWithUnderlier(int code, const QString &message);
    QVariant readFailed(OptionalError *error);

    unsigned maxDepth_ = 512;
    bool sortKeys_ = false;
    bool humanReadable_ = false;
    unsigned depth_ = 0;
    const char *cursor_ = nullptr;
    const char *end_ = nullptr;
    OptionalError error_;

    // Unescaped UTF-8 of the string being read, turned into UTF-16 once at its end.
    QByteArray pending_;
    // Documents repeat their keys; sharing one QString per distinct short key saves an allocation each time.
    struct CachedKey
    {
        QByteArray utf8;
        QString key;
    };
    std::array<CachedKey, 64> keyCache_;
};
