#include "MailMessage.h"

#include <QUrlQuery>

namespace Velmora::Platform {

QUrl MailMessage::mailtoURL() const
{
    QUrl url;
    url.setScheme(QStringLiteral("mailto"));
    url.setPath(to.join(QLatin1Char(',')));
    QUrlQuery query;
    const std::pair<QString, QString> fields[] = {{QStringLiteral("cc"), cc.join(QLatin1Char(','))},
                                                  {QStringLiteral("bcc"), bcc.join(QLatin1Char(','))},
                                                  {QStringLiteral("subject"), subject},
                                                  {QStringLiteral("body"), body}};
    for (const auto &[key, value] : fields) {
        if (!value.isEmpty())
            query.addQueryItem(key, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    }
    url.setQuery(query);
    return url;
}

QStringList MailMessage::addressesInText(const QString &text)
{
    QStringList list;
    for (const QString &address : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        if (!address.trimmed().isEmpty())
            list << address.trimmed();
    }
    return list;
}

}  // namespace Velmora::Platform
