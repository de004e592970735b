#include "Notification/TSKNotification.h"

#include "Utility/TSKNetworkUtilities.h"
#include "Utility/TSKPropertyListDescription.h"

namespace {

const QString tsmsgScheme = QStringLiteral("tsmsg");
const QString tiskosScheme = QStringLiteral("tiskos");

QVariantMap queryParameters(const QUrl &url)
{
    // The reader does the percent-decoding, so it gets the query as sent.
    return TSKNetworkUtilities::dictionaryFromQueryString(url.query(QUrl::FullyEncoded));
}

}  // namespace

TSKNotification::TSKNotification(const QString &name, const std::optional<QVariantMap> &parameters)
    : parameters_(parameters), name_(name)
{
}

bool TSKNotification::isTSMSGNotificationURL(const QUrl &url)
{
    return url.scheme() == tsmsgScheme;
}

bool TSKNotification::isTiskosNotificationURL(const QUrl &url)
{
    return url.scheme() == tiskosScheme;
}

bool TSKNotification::isNotificationURL(const QUrl &url)
{
    return isTSMSGNotificationURL(url) || isTiskosNotificationURL(url);
}

std::optional<TSKNotification> TSKNotification::notificationFromURL(const QUrl &url)
{
    if (isTSMSGNotificationURL(url))
        return fromTSMSGURL(url);
    if (isTiskosNotificationURL(url))
        return fromTiskosURL(url);
    return std::nullopt;
}

std::optional<TSKNotification> TSKNotification::fromTSMSGURL(const QUrl &url)
{
    // "tsmsg:///loadAdURL?..." names "loadAdURL": the path without its leading "/".
    const QString path = url.path(QUrl::FullyDecoded);
    if (path.isEmpty())
        return std::nullopt;
    return TSKNotification(path.mid(1), queryParameters(url));
}

std::optional<TSKNotification> TSKNotification::fromTiskosURL(const QUrl &url)
{
    const QString action = url.host();
    if (action == QLatin1String("launch")) {
        QVariantMap parameters{{QStringLiteral("a"), QStringLiteral("browser")}};
        const QVariantMap query = queryParameters(url);
        if (query.contains(QStringLiteral("url")))
            parameters.insert(QStringLiteral("u"), query.value(QStringLiteral("url")));
        return TSKNotification(QStringLiteral("open"), parameters);
    }
    if (action == QLatin1String("closecanvas"))
        return TSKNotification(QStringLiteral("close"), std::nullopt);
    if (action == QLatin1String("log"))
        return TSKNotification(QStringLiteral("log"), queryParameters(url));
    return std::nullopt;
}

QString TSKNotification::description() const
{
    return QStringLiteral("TSKNotification<0x%1>: name:%2 parameters:%3")
        .arg(quintptr(this), 0, 16)
        .arg(name_, parameters_ ? TSKPropertyListDescription::describe(*parameters_) : QStringLiteral("(null)"));
}
