#include "Utility/TSKNetworkUtilities.h"
#include "Utility/TSKHexDigit.h"

#include "json/TSKDecimal.h"

#include <QLocale>
#include <QStringDecoder>

#include <array>
#include <optional>

namespace {

QString &sharedUserAgent()
{
    static QString userAgent;
    return userAgent;
}

// Strict unescaping: a '%' not followed by two hex digits, or bytes that are
// not UTF-8 once unescaped, make the whole text unusable.
std::optional<QString> removePercentEscapes(QStringView text)
{
    if (!text.contains(u'%'))
        return text.toString();
    const QByteArray utf8 = text.toUtf8();
    QByteArray bytes;
    bytes.reserve(utf8.size());
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        if (utf8[i] != '%') {
            bytes.append(utf8[i]);
            continue;
        }
        if (i + 2 >= utf8.size())
            return std::nullopt;
        const int high = TSKHexDigitValue(utf8[i + 1]), low = TSKHexDigitValue(utf8[i + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.append(char(high << 4 | low));
        i += 2;
    }
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom);
    QString decoded = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return decoded;
}

bool isSeparator(QChar c) { return c == u'&' || c == u';'; }

// What the platform scanner skips before each token.
bool isBlank(QChar c)
{
    return c.isSpace() || c.category() == QChar::Separator_Line || c.category() == QChar::Separator_Paragraph;
}

constexpr std::array<bool, 128> unreservedTable()
{
    std::array<bool, 128> table{};
    for (int c = '0'; c <= '9'; ++c)
        table[c] = true;
    for (int c = 'a'; c <= 'z'; ++c)
        table[c] = true;
    for (int c = 'A'; c <= 'Z'; ++c)
        table[c] = true;
    table['-'] = table['.'] = table['_'] = table['~'] = true;
    return table;
}

}  // namespace

QString TSKNetworkUtilities::userAgentString()
{
    return sharedUserAgent();
}

void TSKNetworkUtilities::setUserAgentString(const QString &userAgent)
{
    if (userAgent.isEmpty() || userAgent == sharedUserAgent())
        return;
    sharedUserAgent() = userAgent;
}

QVariantMap TSKNetworkUtilities::dictionaryFromQueryString(const QString &query)
{
    QVariantMap dictionary;
    const qsizetype length = query.size();
    qsizetype position = 0;
    auto skipBlanks = [&] {
        while (position < length && isBlank(query[position]))
            ++position;
    };
    for (;;) {
        skipBlanks();
        if (position >= length)
            break;
        const qsizetype pairStart = position;
        while (position < length && !isSeparator(query[position]))
            ++position;
        const QStringView pair = QStringView(query).mid(pairStart, position - pairStart);
        while (position < length && isSeparator(query[position]))
            ++position;

        const qsizetype equals = pair.indexOf(u'=');
        if (equals < 0 || pair.indexOf(u'=', equals + 1) >= 0)
            continue;
        const std::optional<QString> key = removePercentEscapes(pair.left(equals));
        const std::optional<QString> value = removePercentEscapes(pair.mid(equals + 1));
        if (key && value)
            dictionary.insert(key->toLower(), *value);
    }
    return dictionary;
}

QString TSKNetworkUtilities::parameterValueForKeyFromURL(const QString &key, const QUrl &url)
{
    const QString query = url.query(QUrl::FullyEncoded);
    for (const QStringView component : QStringView(query).split(u'&')) {
        const auto parts = component.split(u'=');
        if (parts.size() >= 2 && parts[0] == key)
            return parts[1].toString();
    }
    return {};
}

QUrl TSKNetworkUtilities::appendQueryKeyValueToURL(const QString &key, const QVariant &value, const QUrl &url)
{
    return appendQueryParametersToURL({{key, value.isValid() ? value : QVariant(QString(""))}}, url);
}

QUrl TSKNetworkUtilities::appendQueryParametersToURL(const QVariantMap &parameters, const QUrl &url)
{
    QString text = url.toString(QUrl::FullyEncoded);
    QChar separator = url.query(QUrl::FullyEncoded).isEmpty() ? u'?' : u'&';
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        text += separator;
        separator = u'&';
        text += it.key();
        const QString encoded = encodeURL(describe(it.value()));
        if (!encoded.isEmpty()) {
            text += u'=';
            text += encoded;
        }
    }
    QUrl result(text, QUrl::StrictMode);
    return result.isValid() ? result : QUrl();
}

QString TSKNetworkUtilities::encodeURL(const QString &text)
{
    static constexpr std::array<bool, 128> unreserved = unreservedTable();
    static constexpr char hexDigits[] = "0123456789ABCDEF";
    const QByteArray utf8 = text.toUtf8();
    QString encoded(utf8.size() * 3, Qt::Uninitialized);
    char16_t *out = reinterpret_cast<char16_t *>(encoded.data());
    char16_t *const begin = out;
    for (const char byte : utf8) {
        const auto c = static_cast<unsigned char>(byte);
        if (c < 128 && unreserved[c]) {
            *out++ = c;
        } else {
            *out++ = u'%';
            *out++ = hexDigits[c >> 4];
            *out++ = hexDigits[c & 15];
        }
    }
    encoded.truncate(out - begin);
    return encoded;
}

QString TSKNetworkUtilities::describe(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QString("");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::Double:
    case QMetaType::Float:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
        if (value.metaType() == QMetaType::fromType<TSKDecimal>())
            return value.value<TSKDecimal>().toString();
        return value.toString();
    }
}
