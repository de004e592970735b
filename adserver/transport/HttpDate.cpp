#include "transport/HttpDate.h"

#include <QLocale>
#include <QTimeZone>

namespace {

const QString httpDateFormat = QStringLiteral("ddd, dd MMM yyyy HH:mm:ss");

}  // namespace

QByteArray HttpDate::format(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), httpDateFormat).toLatin1() + " GMT";
}

QDateTime HttpDate::parse(const QByteArray &text)
{
    // The ad library echoes Last-Modified without its zone word, so "GMT" is optional.
    QByteArray date = text.trimmed();
    if (date.endsWith("GMT"))
        date = date.chopped(3).trimmed();
    QDateTime time = QLocale::c().toDateTime(QString::fromLatin1(date), httpDateFormat);
    if (time.isValid())
        time.setTimeZone(QTimeZone::utc());
    return time;
}

bool HttpDate::isNotModified(const QDateTime &lastModified, const QByteArray &ifModifiedSince)
{
    const QDateTime since = parse(ifModifiedSince);
    // Compared at whole seconds: that is all the header can carry.
    return since.isValid() && lastModified.toSecsSinceEpoch() <= since.toSecsSinceEpoch();
}
