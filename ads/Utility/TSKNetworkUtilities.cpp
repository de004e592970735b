#include "Utility/TSKNetworkUtilities.h"

#include <QUrlQuery>

namespace {
QString &sharedUserAgent()
{
    static QString userAgent;
    return userAgent;
}
}  // namespace

QString TSKNetworkUtilities::userAgentString()
{
    return sharedUserAgent();
}

void TSKNetworkUtilities::setUserAgentString(const QString &userAgent)
{
    sharedUserAgent() = userAgent;
}

QUrl TSKNetworkUtilities::appendQueryKeyValueToURL(const QString &key, const QVariant &value, const QUrl &url)
{
    QUrl result = url;
    QUrlQuery query(url);
    query.addQueryItem(key, value.toString());
    result.setQuery(query);
    return result;
}
