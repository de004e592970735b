#include "AdServerHarness.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QSignalSpy>

namespace {

QStringList withDefaults(const QStringList &arguments, const QString &logFile)
{
    return QStringList{"velmora-adserver", "--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", logFile} + arguments;
}

}  // namespace

QByteArray AdServerHarness::Response::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

AdServerHarness::AdServerHarness(const QStringList &arguments)
{
    if (!options_.parse(withDefaults(arguments, dir_.filePath("requests.jsonl")), &error_))
        qFatal("bad harness arguments: %s", qPrintable(error_));
    server_ = std::make_unique<AdServer>(options_);
    started_ = server_->start(&error_);
}

QString AdServerHarness::parseError(const QStringList &arguments)
{
    ServerOptions options;
    QString error;
    return options.parse(withDefaults(arguments, "unused.jsonl"), &error) ? QString() : error;
}

AdServerHarness::Response AdServerHarness::get(const QByteArray &pathOrUrl,
                                               const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QNetworkRequest request(QUrl::fromEncoded(pathOrUrl.startsWith("http") ? pathOrUrl : base() + pathOrUrl));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    std::unique_ptr<QNetworkReply> reply(network_.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished())
        finished.wait(30000);
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->error(), reply->readAll(),
            reply->rawHeaderPairs()};
}

QJsonObject AdServerHarness::stats()
{
    return QJsonDocument::fromJson(get("/stats").body).object();
}

QList<QJsonObject> AdServerHarness::logLines()
{
    server_->requestLog().flush();
    QFile file(options_.logFile);
    QList<QJsonObject> lines;
    if (file.open(QIODevice::ReadOnly)) {
        while (!file.atEnd())
            lines.append(QJsonDocument::fromJson(file.readLine()).object());
    }
    return lines;
}
