#include "routes/CoreScript.h"

#include "transport/HttpDate.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

bool CoreScript::load(const QString &wwwDir, const QStringList &servedUnits, QString *error)
{
    QFile file(wwwDir + QLatin1StringView(path.data(), qsizetype(path.size())));
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the core script %1: %2").arg(file.fileName(), file.errorString());
        return false;
    }
    template_ = file.readAll();
    template_.replace("__SERVED_UNITS__", QJsonDocument(QJsonArray::fromStringList(servedUnits)).toJson(QJsonDocument::Compact));
    lastModified_ = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
    return true;
}

Reply CoreScript::reply(const QByteArray &adBaseUrl, const QByteArray &ifModifiedSince) const
{
    Reply reply;
    if (HttpDate::isNotModified(lastModified_, ifModifiedSince)) {
        reply.status = 304;
    } else {
        QByteArray body = garbage_
            ? QByteArrayLiteral("throw new Error('velmora-adserver: garbage-script fault');\n")
            : QByteArray(template_).replace("__AD_BASE__", adBaseUrl);
        reply = Reply::withBody(200, "text/javascript; charset=utf-8", body);
    }
    reply.addHeader("Last-Modified", HttpDate::format(lastModified_));
    return reply;
}
