#include "AdServerHarness.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QSignalSpy>

QByteArray AdServerHarness::Response::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

ServerOptions AdServerHarness::defaultOptions()
{
    ServerOptions options;
    options.port = 0;
    options.wwwDir = QStringLiteral(VELMORA_ADSERVER_WWW);
    return options;
}

AdServerHarness::AdServerHarness(ServerOptions options)
    : options_(std::move(options))
{
    if (options_.logFile.isEmpty())
        options_.logFile = dir_.filePath(QStringLiteral("requests.jsonl"));
    server_ = std::make_unique<AdServer>(options_);
    started_ = server_->start(&error_);
}

AdServerHarness::Response AdServerHarness::get(const QByteArray &pathOrUrl,
                                               const QList<QPair<QByteArray, QByteArray>> &headers)
{
    const QUrl url = QUrl::fromEncoded(pathOrUrl.startsWith("http") ? pathOrUrl : base() + pathOrUrl);
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    std::unique_ptr<QNetworkReply> reply(network_.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished())
        finished.wait(20000);
    Response response;
    response.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    response.error = reply->error();
    response.body = reply->readAll();
    response.headers = reply->rawHeaderPairs();
    return response;
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
    if (!file.open(QIODevice::ReadOnly))
        return lines;
    while (!file.atEnd())
        lines.append(QJsonDocument::fromJson(file.readLine()).object());
    return lines;
}
