#pragma once

#include "Utility/TSKError.h"

#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <optional>

extern const QString TSKJSONErrorDomain;

// JSON text <-> property-list values (QVariantMap, QVariantList, QString,
// TSKDecimal for every number read, bool, null). Failures come back as an
// empty result plus, when asked for, an error in TSKJSONErrorDomain.
// One instance is used by one thread at a time.
class TSKJSON
{
public:
    using Error = std::optional<TSKError>;

    unsigned maxDepth() const { return maxDepth_; }
    // Deepest nesting the reader accepts; 0 lifts the limit (then the call stack is the limit).
    void setMaxDepth(unsigned maxDepth) { maxDepth_ = maxDepth; }
    bool sortKeys() const { return sortKeys_; }
    void setSortKeys(bool sortKeys) { sortKeys_ = sortKeys; }
    bool humanReadable() const { return humanReadable_; }
    void setHumanReadable(bool humanReadable) { humanReadable_ = humanReadable; }

    // A top-level object or array; a null string is an error.
    QVariant objectWithString(const QString &text, Error *error = nullptr);
    // Any JSON value, scalars included.
    QVariant fragmentWithString(const QString &text, Error *error = nullptr);
    QVariant objectWithStringAllowScalar(const QString &text, bool allowScalar, Error *error = nullptr);
    // The same from UTF-8 bytes, as they come off the network.
    QVariant objectWithUTF8(QByteArrayView utf8, bool allowScalar, Error *error = nullptr);

    QString stringWithObject(const QVariant &value, Error *error = nullptr);
    QString stringWithFragment(const QVariant &value, Error *error = nullptr);
    QString stringWithObjectAllowScalar(const QVariant &value, bool allowScalar, Error *error = nullptr);

    QString indent() const;

private:
    bool scanValue(QVariant &value);
    bool scanRestOfNull(QVariant &value);
    bool scanRestOfFalse(QVariant &value);
    bool scanRestOfTrue(QVariant &value);
    bool scanRestOfString(QString &string);
    bool scanNumber(QVariant &value);
    bool scanRestOfDictionary(QVariant &value);
    bool scanRestOfArray(QVariant &value);
    bool scanUnicodeChar(char16_t &unit);
    bool scanHexQuad(char16_t &unit);
    bool scanIsAtEnd();
    bool scanLiteral(const char *rest, QVariant literal, QVariant &value, const char *message);
    void skipWhitespace();
    char current() const { return cursor_ < end_ ? *cursor_ : '\0'; }
    void step() { cursor_ += cursor_ < end_; }

    bool appendValue(const QVariant &value, QString &out);
    bool appendDictionary(const QVariantMap &dictionary, QString &out);
    bool appendAssociative(const QVariant &dictionary, QString &out);
    bool appendArray(const QVariantList &array, QString &out);
    bool appendSequential(const QVariant &array, QString &out);
    bool appendMember(const QString &key, const QVariant &value, bool first, QString &out);
    bool appendElement(const QVariant &element, bool first, QString &out);
    void appendString(QStringView string, QString &out);
    void closeContainer(bool empty, char16_t bracket, QString &out);

    bool fail(int code, const QString &message);
    bool failWithUnderlier(int code, const QString &message);
    QVariant readFailed(Error *error);

    unsigned maxDepth_ = 512;
    bool sortKeys_ = false;
    bool humanReadable_ = false;
    unsigned depth_ = 0;
    const char *cursor_ = nullptr;
    const char *end_ = nullptr;
    Error error_;
};
