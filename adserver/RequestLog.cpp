#include "RequestLog.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

RequestLog::RequestLog(QObject *parent)
    : QObject(parent)
{
    flushTimer_.setInterval(flushIntervalMs);
    flushTimer_.setSingleShot(true);
    connect(&flushTimer_, &QTimer::timeout, this, &RequestLog::flush);
}

RequestLog::~RequestLog()
{
    flush();
}

bool RequestLog::open(const QString &path, QString *error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        *error = QStringLiteral("cannot open the request log %1: %2").arg(path, file_.errorString());
        return false;
    }
    return true;
}

void RequestLog::record(const QByteArray &method, const QString &path, const QUrlQuery &query, int status)
{
    if (!file_.isOpen())
        return;
    QJsonObject parameters;
    for (const auto &[key, value] : query.queryItems(QUrl::FullyDecoded))
        parameters.insert(key, value);
    const QJsonObject line{
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("method"), QString::fromLatin1(method)},
        {QStringLiteral("path"), path},
        {QStringLiteral("query"), parameters},
        {QStringLiteral("status"), status},
    };
    buffer_ += QJsonDocument(line).toJson(QJsonDocument::Compact);
    buffer_ += '\n';
    if (buffer_.size() >= flushThreshold)
        flush();
    else if (!flushTimer_.isActive())
        flushTimer_.start();
}

void RequestLog::flush()
{
    flushTimer_.stop();
    if (buffer_.isEmpty() || !file_.isOpen())
        return;
    file_.write(buffer_);
    buffer_.clear();
}
