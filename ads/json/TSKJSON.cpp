#include "json/TSKJSON.h"
#include "Utility/TSKHexDigit.h"

#include "json/TSKDecimal.h"

#include <QAssociativeIterable>
#include <QLocale>
#include <QSequentialIterable>

#include <algorithm>
#include <array>

using namespace Velmora::Platform;

const QString TSKJSONErrorDomain = QStringLiteral("org.velmora.ads.JSON");

namespace {

// Bytes that end a plain run inside a string: the end of the text, control characters, '"' and '\'.
constexpr std::array<bool, 256> stringStopTable()
{
    std::array<bool, 256> table{};
    for (int c = 0; c < 0x20; ++c)
        table[c] = true;
    table['"'] = table['\\'] = true;
    return table;
}
constexpr std::array<bool, 256> StringStop = stringStopTable();

bool isWhitespace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool needsEscaping(char16_t unit) { return unit < 0x20 || unit == u'"' || unit == u'\\'; }

// QString::fromUtf8 drops a leading byte order mark; in JSON text it is a character like any other.
QString fromUTF8(const char *utf8, qsizetype length)
{
    if (length >= 3 && memcmp(utf8, "\xEF\xBB\xBF", 3) == 0)
        return QChar(0xFEFF) + QString::fromUtf8(utf8 + 3, length - 3);
    return QString::fromUtf8(utf8, length);
}

QString hexCode(char c) { return QString::number(uchar(c), 16); }

bool isContainer(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return true;
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return false;
    default:
        return value.canConvert<QAssociativeIterable>() || value.canConvert<QSequentialIterable>();
    }
}

}  // namespace

// Collects the writer's text in a small buffer so that most appends are a
// store rather than a call into QString.
class TSKJSON::Output
{
public:
    explicit Output(QString &target) : target_(target) {}
    ~Output() { flush(); }

    void operator+=(char16_t c)
    {
        if (used_ == Capacity)
            flush();
        buffer_[used_++] = c;
    }
    void operator+=(QStringView text)
    {
        if (text.size() > Capacity - used_) {
            flush();
            if (text.size() > Capacity / 2) {
                target_ += text;
                return;
            }
        }
        std::copy(text.utf16(), text.utf16() + text.size(), buffer_ + used_);
        used_ += text.size();
    }
    void operator+=(QLatin1StringView text) { appendLatin1(text.data(), text.size()); }
    void appendLatin1(const char *text, qsizetype length)
    {
        if (length > Capacity - used_) {
            flush();
            if (length > Capacity) {
                target_ += QLatin1StringView(text, length);
                return;
            }
        }
        for (qsizetype i = 0; i < length; ++i)
            buffer_[used_ + i] = uchar(text[i]);
        used_ += length;
    }
    void flush()
    {
        target_ += QStringView(buffer_, used_);
        used_ = 0;
    }

private:
    static constexpr qsizetype Capacity = 1024;
    QString &target_;
    char16_t buffer_[Capacity];
    qsizetype used_ = 0;
};

bool TSKJSON::fail(int code, const QString &message)
{
    error_ = Error::withMessage(TSKJSONErrorDomain, code, message);
    return false;
}

bool TSKJSON::failWithUnderlier(int code, const QString &message)
{
    Error error = Error::withMessage(TSKJSONErrorDomain, code, message);
    if (error_)
        error.setUnderlyingError(*error_);
    error_ = std::move(error);
    return false;
}

QVariant TSKJSON::readFailed(OptionalError *error)
{
    if (error)
        *error = error_;
    return {};
}

QVariant TSKJSON::objectWithString(const QString &text, OptionalError *error)
{
    return objectWithStringAllowScalar(text, false, error);
}

QVariant TSKJSON::fragmentWithString(const QString &text, OptionalError *error)
{
    return objectWithStringAllowScalar(text, true, error);
}

QVariant TSKJSON::objectWithStringAllowScalar(const QString &text, bool allowScalar, OptionalError *error)
{
    if (text.isNull())
        return objectWithUTF8(QByteArrayView(), allowScalar, error);
    const QByteArray utf8 = text.toUtf8();
    return objectWithUTF8(QByteArrayView(utf8.constData(), utf8.size()), allowScalar, error);
}

QVariant TSKJSON::objectWithUTF8(QByteArrayView utf8, bool allowScalar, OptionalError *error)
{
    error_.reset();
    if (utf8.isNull()) {
        fail(12, QStringLiteral("Input was 'nil'"));
        return readFailed(error);
    }
    depth_ = 0;
    cursor_ = utf8.data();
    end_ = cursor_ + utf8.size();

    QVariant value;
    if (!scanValue(value))
        return readFailed(error);
    if (!scanIsAtEnd()) {
        fail(10, QStringLiteral("Garbage after JSON"));
        return readFailed(error);
    }
    const int type = value.typeId();
    if (!allowScalar && type != QMetaType::QVariantMap && type != QMetaType::QVariantList) {
        fail(4, QStringLiteral("Valid fragment, but not JSON"));
        return readFailed(error);
    }
    Q_ASSERT_X(value.isValid(), "TSKJSON",
               qPrintable(QStringLiteral("Should have a valid object from %1").arg(QString::fromUtf8(utf8))));
    return value;
}

void TSKJSON::skipWhitespace()
{
    while (cursor_ < end_ && isWhitespace(*cursor_))
        ++cursor_;
}

// A NUL byte ends the text, as the terminator of a C string would.
bool TSKJSON::scanIsAtEnd()
{
    skipWhitespace();
    return current() == '\0';
}

bool TSKJSON::scanValue(QVariant &value)
{
    skipWhitespace();
    const char c = current();
    step();
    switch (c) {
    case '[':
        return scanRestOfArray(value);
    case '{':
        return scanRestOfDictionary(value);
    case 'n':
        return scanRestOfNull(value);
    case 't':
        return scanRestOfTrue(value);
    case 'f':
        return scanRestOfFalse(value);
    case '"': {
        QString string;
        if (!scanRestOfString(string))
            return false;
        value = std::move(string);
        return true;
    }
    case '-':
    case '0' ... '9':
        --cursor_;
        return scanNumber(value);
    case '+':
        return fail(2, QStringLiteral("Leading + disallowed in number"));
    case '\0':
        return fail(11, QStringLiteral("Unexpected end of string"));
    default:
        return fail(3, QStringLiteral("Unrecognised leading character"));
    }
}

bool TSKJSON::scanLiteral(const char *rest, QVariant literal, QVariant &value, const char *message)
{
    const size_t length = strlen(rest);
    if (size_t(end_ - cursor_) < length || memcmp(cursor_, rest, length) != 0)
        return fail(3, QString::fromLatin1(message));
    cursor_ += length;
    value = std::move(literal);
    return true;
}

bool TSKJSON::scanRestOfNull(QVariant &value)
{
    return scanLiteral("ull", QVariant::fromValue(nullptr), value, "Expected 'null'");
}

bool TSKJSON::scanRestOfTrue(QVariant &value)
{
    return scanLiteral("rue", QVariant(true), value, "Expected 'true'");
}

bool TSKJSON::scanRestOfFalse(QVariant &value)
{
    return scanLiteral("alse", QVariant(false), value, "Expected 'false'");
}

// Depth is only counted when there is a limit to check it against.
bool TSKJSON::enterNesting()
{
    if (maxDepth_ != 0 && ++depth_ > maxDepth_)
        return fail(7, QStringLiteral("Nested too deep"));
    return true;
}

void TSKJSON::leaveNesting()
{
    if (maxDepth_ != 0)
        --depth_;
}

// Reads an optional comma between members; false when it stands right before `closer`.
bool TSKJSON::scanSeparator(char closer)
{
    skipWhitespace();
    if (current() != ',')
        return true;
    step();
    skipWhitespace();
    return current() != closer;
}

bool TSKJSON::scanRestOfDictionary(QVariant &value)
{
    if (!enterNesting())
        return false;
    QVariantMap dictionary;
    for (;;) {
        if (current() == '\0')
            return fail(11, QStringLiteral("End of input while parsing object"));
        skipWhitespace();
        if (current() == '}') {
            step();
            leaveNesting();
            value = std::move(dictionary);
            return true;
        }
        QString key;
        if (current() != '"')
            return failWithUnderlier(3, QStringLiteral("Object key string expected"));
        step();
        if (!scanRestOfKey(key))
            return failWithUnderlier(3, QStringLiteral("Object key string expected"));

        skipWhitespace();
        if (current() != ':')
            return fail(3, QStringLiteral("Expected ':' separating key and value"));
        step();
        QVariant member;
        if (!scanValue(member))
            return failWithUnderlier(3, QStringLiteral("Object value expected for key: %1").arg(key));
        dictionary.insert(key, std::move(member));

        // A missing comma is let through: the loop just reads the next key.
        if (!scanSeparator('}'))
            return fail(9, QStringLiteral("Trailing comma disallowed in object"));
    }
}

bool TSKJSON::scanRestOfArray(QVariant &value)
{
    if (!enterNesting())
        return false;
    QVariantList array;
    array.reserve(8);
    for (;;) {
        if (current() == '\0')
            return fail(11, QStringLiteral("End of input while parsing array"));
        skipWhitespace();
        if (current() == ']') {
            step();
            leaveNesting();
            value = std::move(array);
            return true;
        }
        QVariant element;
        if (!scanValue(element))
            return failWithUnderlier(3, QStringLiteral("Expected value while parsing array"));
        array.append(std::move(element));

        if (!scanSeparator(']'))
            return fail(9, QStringLiteral("Trailing comma disallowed in array"));
    }
}

void TSKJSON::flushPending(QString &string)
{
    if (pending_.isEmpty())
        return;
    string += fromUTF8(pending_.constData(), pending_.size());
    pending_.resize(0);  // keeps the capacity for the next string
}

bool TSKJSON::scanRestOfString(QString &string)
{
    // Fast path: no escape before the closing quote, so the text converts in one go.
    const char *run = cursor_;
    while (cursor_ < end_ && !StringStop[uchar(*cursor_)])
        ++cursor_;
    if (current() == '"') {
        string = fromUTF8(run, cursor_ - run);
        step();
        return true;
    }
    pending_.resize(0);  // keeps the capacity for the next string
    pending_.append(run, cursor_ - run);

    for (;;) {
        const char c = current();
        if (c == '"') {
            step();
            flushPending(string);
            return true;
        }
        if (c == '\\') {
            step();
            const char escaped = current();
            char16_t unit = 0;
            switch (escaped) {
            case '"':
            case '/':
            case '\\':
                unit = char16_t(escaped);
                break;
            case 'b': unit = u'\b'; break;
            case 'f': unit = u'\f'; break;
            case 'n': unit = u'\n'; break;
            case 'r': unit = u'\r'; break;
            case 't': unit = u'\t'; break;
            case 'u':
                step();
                if (!scanUnicodeChar(unit))
                    return failWithUnderlier(6, QStringLiteral("Broken unicode character"));
                --cursor_;  // the last hex digit is stepped past below, like any escape
                break;
            default:
                return fail(8, QStringLiteral("Illegal escape sequence '0x%1'").arg(hexCode(escaped)));
            }
            if (unit < 0x80) {
                pending_.append(char(unit));
            } else if (QChar::isSurrogate(unit)) {
                // A lone surrogate has no UTF-8 form; it goes straight into the result.
                flushPending(string);
                string += QChar(unit);
            } else if (unit < 0x800) {
                pending_.append(char(0xC0 | unit >> 6));
                pending_.append(char(0x80 | (unit & 0x3F)));
            } else {
                pending_.append(char(0xE0 | unit >> 12));
                pending_.append(char(0x80 | ((unit >> 6) & 0x3F)));
                pending_.append(char(0x80 | (unit & 0x3F)));
            }
            step();
        } else if (c != '\0') {
            return fail(5, QStringLiteral("Unescaped control character '0x%1'").arg(hexCode(c)));
        }
        if (current() == '\0')
            return fail(11, QStringLiteral("Unexpected EOF while parsing string"));

        run = cursor_;
        while (cursor_ < end_ && !StringStop[uchar(*cursor_)])
            ++cursor_;
        pending_.append(run, cursor_ - run);
    }
}

bool TSKJSON::scanRestOfKey(QString &key)
{
    const char *start = cursor_;
    const char *quote = start;
    while (quote < end_ && !StringStop[uchar(*quote)])
        ++quote;
    const qsizetype length = quote - start;
    if (quote == end_ || *quote != '"' || length > 32)
        return scanRestOfString(key);

    const QByteArrayView utf8(start, length);
    size_t hash = length;
    for (const char c : utf8)
        hash = hash * 31 + uchar(c);
    CachedKey &slot = keyCache_[hash % keyCache_.size()];
    if (slot.utf8 != utf8) {
        slot.utf8 = utf8.toByteArray();
        slot.key = fromUTF8(utf8.data(), utf8.size());
    }
    key = slot.key;
    cursor_ = quote + 1;
    return true;
}

bool TSKJSON::scanHexQuad(char16_t &unit)
{
    unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = TSKHexDigitValue(current());
        if (digit < 0)
            return fail(6, QStringLiteral("Missing hex digit in quad"));
        unit = char16_t(unit << 4 | digit);
        step();
    }
    return true;
}

// A surrogate pair is folded into one 16-bit unit: the low 16 bits of the code point.
bool TSKJSON::scanUnicodeChar(char16_t &unit)
{
    char16_t high = 0;
    if (!scanHexQuad(high))
        return failWithUnderlier(6, QStringLiteral("Missing hex quad"));
    if (high < 0xD800 || high >= 0xE000) {
        unit = high;
        return true;
    }
    if (high >= 0xDC00)
        return fail(6, QStringLiteral("Invalid high character in surrogate pair"));
    if (current() != '\\' || cursor_ + 1 >= end_ || cursor_[1] != 'u')
        return fail(6, QStringLiteral("Missing low character in surrogate pair"));
    cursor_ += 2;
    char16_t low = 0;
    if (!scanHexQuad(low))
        return failWithUnderlier(6, QStringLiteral("Missing low character in surrogate pair"));
    if (low < 0xDC00 || low > 0xDFFE)
        return fail(6, QStringLiteral("Invalid low surrogate char"));
    unit = char16_t((unsigned(high) << 10) + (low - 0xDC00u));
    return true;
}

bool TSKJSON::scanNumber(QVariant &value)
{
    const char *start = cursor_;
    const bool minus = current() == '-';
    if (minus)
        step();
    if (current() == '0' && cursor_ + 1 < end_ && isDigit(cursor_[1]))
        return fail(2, QStringLiteral("Leading 0 disallowed in number"));
    if (!isDigit(current()) && minus)
        return fail(2, QStringLiteral("No digits after initial minus"));
    while (isDigit(current()))
        step();

    if (current() == '.') {
        step();
        if (!isDigit(current()))
            return fail(2, QStringLiteral("No digits after decimal point"));
        while (isDigit(current()))
            step();
    }
    if (current() == 'e' || current() == 'E') {
        step();
        if (current() == '+' || current() == '-')
            step();
        if (!isDigit(current()))
            return fail(2, QStringLiteral("No digits after exponent"));
        while (isDigit(current()))
            step();
    }
    const std::optional<TSKDecimal> number = TSKDecimal::fromString(std::string_view(start, size_t(cursor_ - start)));
    if (!number)
        return fail(2, QStringLiteral("Failed creating decimal instance"));
    value = QVariant::fromValue(*number);
    return true;
}

QString TSKJSON::stringWithObject(const QVariant &value, OptionalError *error)
{
    return stringWithObjectAllowScalar(value, false, error);
}

QString TSKJSON::stringWithFragment(const QVariant &value, OptionalError *error)
{
    return stringWithObjectAllowScalar(value, true, error);
}

QString TSKJSON::stringWithObjectAllowScalar(const QVariant &value, bool allowScalar, OptionalError *error)
{
    error_.reset();
    depth_ = 0;
    QString text;
    text.reserve(128);
    bool written = false;
    if (!allowScalar && !isContainer(value)) {
        fail(4, QStringLiteral("Not valid type for JSON"));
    } else {
        Output out(text);
        written = appendValue(value, out);
    }
    if (written)
        return text;
    if (error)
        *error = error_;
    return {};
}

QString TSKJSON::indent() const
{
    return u'\n' + QString(int(depth_) * 2, u' ');
}

bool TSKJSON::appendValue(const QVariant &value, Output &out)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return appendDictionary(*static_cast<const QVariantMap *>(value.constData()), out);
    case QMetaType::QVariantList:
        return appendArray(*static_cast<const QVariantList *>(value.constData()), out);
    case QMetaType::QString:
        appendString(*static_cast<const QString *>(value.constData()), out);
        return true;
    case QMetaType::Bool:
        out += value.toBool() ? QLatin1StringView("true") : QLatin1StringView("false");
        return true;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::LongLong:
        out += QStringView(QString::number(value.toLongLong()));
        return true;
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        out += QStringView(QString::number(value.toULongLong()));
        return true;
    case QMetaType::Double:
    case QMetaType::Float:
        out += QStringView(QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest));
        return true;
    case QMetaType::Nullptr:
        out += QLatin1StringView("null");
        return true;
    case QMetaType::QVariantHash:
    case QMetaType::QStringList:
    case QMetaType::QByteArray:
        break;
    default:
        if (value.metaType() == QMetaType::fromType<TSKDecimal>()) {
            char text[TSKDecimal::MaxTextLength];
            out.appendLatin1(text, static_cast<const TSKDecimal *>(value.constData())->toChars(text));
            return true;
        }
    }
    if (value.typeId() != QMetaType::QByteArray) {
        if (value.canConvert<QAssociativeIterable>())
            return appendAssociative(value, out);
        if (value.canConvert<QSequentialIterable>())
            return appendSequential(value, out);
    }
    // Anything else that can describe itself goes out as that text.
    if (value.isValid() && value.canConvert<QString>()) {
        appendString(QStringView(value.toString()), out);
        return true;
    }
    return fail(1, QStringLiteral("JSON serialisation not supported for %1")
                       .arg(value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("(null)")));
}

bool TSKJSON::appendMember(const QString &key, const QVariant &value, bool first, Output &out)
{
    if (!first)
        out += u',';
    if (humanReadable_)
        out += QStringView(indent());
    appendString(key, out);
    out += humanReadable_ ? QLatin1StringView(" : ") : QLatin1StringView(":");
    if (!appendValue(value, out))
        return fail(1, QStringLiteral("Unsupported value for key %1 in object").arg(key));
    return true;
}

bool TSKJSON::appendElement(const QVariant &element, bool first, Output &out)
{
    if (!first)
        out += u',';
    if (humanReadable_)
        out += QStringView(indent());
    return appendValue(element, out);
}

void TSKJSON::closeContainer(bool empty, char16_t bracket, Output &out)
{
    --depth_;
    if (humanReadable_ && !empty)
        out += QStringView(indent());
    out += bracket;
}

// Map keys are already in ascending order, which is what sorting would give.
bool TSKJSON::appendDictionary(const QVariantMap &dictionary, Output &out)
{
    out += u'{';
    ++depth_;
    bool first = true;
    for (auto it = dictionary.cbegin(); it != dictionary.cend(); ++it, first = false) {
        if (!appendMember(it.key(), it.value(), first, out))
            return false;
    }
    closeContainer(dictionary.isEmpty(), u'}', out);
    return true;
}

bool TSKJSON::appendAssociative(const QVariant &dictionary, Output &out)
{
    const QAssociativeIterable iterable = dictionary.value<QAssociativeIterable>();
    QVariantList keys;
    for (auto it = iterable.begin(); it != iterable.end(); ++it)
        keys.append(it.key());
    if (sortKeys_) {
        std::stable_sort(keys.begin(), keys.end(), [](const QVariant &a, const QVariant &b) {
            return QVariant::compare(a, b) == QPartialOrdering::Less;
        });
    }
    out += u'{';
    ++depth_;
    bool first = true;
    for (const QVariant &key : keys) {
        if (key.typeId() != QMetaType::QString)
            return fail(1, QStringLiteral("JSON object key must be string"));
        if (!appendMember(key.toString(), iterable.value(key), first, out))
            return false;
        first = false;
    }
    closeContainer(keys.isEmpty(), u'}', out);
    return true;
}

bool TSKJSON::appendArray(const QVariantList &array, Output &out)
{
    out += u'[';
    ++depth_;
    bool first = true;
    for (const QVariant &element : array) {
        if (!appendElement(element, first, out))
            return false;
        first = false;
    }
    closeContainer(array.isEmpty(), u']', out);
    return true;
}

bool TSKJSON::appendSequential(const QVariant &array, Output &out)
{
    const QSequentialIterable iterable = array.value<QSequentialIterable>();
    out += u'[';
    ++depth_;
    bool first = true;
    for (const QVariant &element : iterable) {
        if (!appendElement(element, first, out))
            return false;
        first = false;
    }
    closeContainer(first, u']', out);
    return true;
}

void TSKJSON::appendString(QStringView string, Output &out)
{
    out += u'"';
    const QChar *run = string.begin();
    for (const QChar *it = run; it != string.end(); ++it) {
        const char16_t unit = it->unicode();
        if (!needsEscaping(unit))
            continue;
        // Characters that need no escape go out a run at a time.
        out += QStringView(run, it);
        run = it + 1;
        switch (unit) {
        case u'\b': out += QLatin1StringView("\\b"); break;
        case u'\t': out += QLatin1StringView("\\t"); break;
        case u'\n': out += QLatin1StringView("\\n"); break;
        case u'\f': out += QLatin1StringView("\\f"); break;
        case u'\r': out += QLatin1StringView("\\r"); break;
        case u'"': out += QLatin1StringView("\\\""); break;
        case u'\\': out += QLatin1StringView("\\\\"); break;
        default: {
            static constexpr char hexDigits[] = "0123456789abcdef";
            const char escape[6] = {'\\', 'u', '0', '0', hexDigits[unit >> 4], hexDigits[unit & 15]};
            out += QLatin1StringView(escape, 6);
        }
        }
    }
    out += QStringView(run, string.end());
    out += u'"';
}
