#pragma once

#include <QString>
#include <QUrl>
#include <QVariant>

class TSKNetworkUtilities
{
public:
    // The browser user agent seen last; null until a web view has sent one.
    static QString userAgentString();
    static void setUserAgentString(const QString &userAgent);

    // Pairs separated by '&' or ';'; keys unescaped and lowercased, values
    // unescaped. Pairs that are not exactly "key=value" or do not unescape are dropped.
    static QVariantMap dictionaryFromQueryString(const QString &query);

    // The raw (still escaped) value of the first "key=value" in the query, split on '&' only.
    static QString parameterValueForKeyFromURL(const QString &key, const QUrl &url);

    static QUrl appendQueryKeyValueToURL(const QString &key, const QVariant &value, const QUrl &url);
    // Keys go in as given; values are described and percent-encoded, empty ones leave a bare key.
    static QUrl appendQueryParametersToURL(const QVariantMap &parameters, const QUrl &url);

    // Percent-encodes everything but letters, digits and "-._~" (UTF-8).
    static QString encodeURL(const QString &text);

    // The text a value shows of itself in a URL: numbers plainly, booleans as 1/0.
    static QString describe(const QVariant &value);
};
