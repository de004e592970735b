#include "HttpDate.h"

#include <QLocale>
#include <QTimeZone>

namespace {

const QString httpDateFormat = QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'");

}  // namespace

QByteArray HttpDate::format(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), httpDateFormat).toLatin1();
}

QDateTime HttpDate::parse(const QByteArray &text)
{
    QDateTime time = QLocale::c().toDateTime(QString::fromLatin1(text.trimmed()), httpDateFormat);
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
