#pragma once
// Temporary stand-in until the shared URL utilities land.
#include <QString>
#include <QUrl>
#include <QVariant>

class TSKNetworkUtilities
{
public:
    static QString userAgentString();
    static void setUserAgentString(const QString &userAgent);
    static QUrl appendQueryKeyValueToURL(const QString &key, const QVariant &value, const QUrl &url);
};
