#include "AdServerHarness.h"

#include <QFile>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QSignalSpy>

AdServerHarness::AdServerHarness(const QStringList &arguments)
{
    if (!options_.parse(withDefaults(arguments), &error_))
        qFatal("bad harness arguments: %s", qPrintable(error_));
    server_ = std::make_unique<AdServer>(options_);
    started_ = server_->start(&error_);
}

QStringList AdServerHarness::withDefaults(const QStringList &arguments)
{
    static QTemporaryDir dir;  // the log of every server in this test run
    static int servers = 0;
    const QString log = dir.filePath(QStringLiteral("requests-%1.jsonl").arg(++servers));
    // Checks read /stats right after what they count.
    return QStringList{"velmora-adserver", "--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", log, "--stats-interval", "0"}
        + arguments;
}

quint16 AdServerHarness::adminPort() const
{
    return quint16(QUrl(QString::fromLatin1(adminBase())).port());
}

AdServerHarness::Response AdServerHarness::get(const QByteArray &pathOrUrl, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QNetworkRequest request(QUrl::fromEncoded(pathOrUrl.startsWith("http") ? pathOrUrl : base() + pathOrUrl));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    std::unique_ptr<QNetworkReply> reply(network_.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished())
        finished.wait(30000);
    Response response{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(), {}};
    for (const auto &[name, value] : reply->rawHeaderPairs())
        response.headers.insert(name.toLower(), value);
    return response;
}

QJsonObject AdServerHarness::stats()
{
    return QJsonDocument::fromJson(get(adminBase() + "/stats").body).object();
}

QJsonValue AdServerHarness::unitStats()
{
    return QJsonValue(stats())["units"][ServerOptions::gameAdUnit];
}

QList<QJsonObject> AdServerHarness::logLines()
{
    server_->requestLog().flush();
    QFile file(options_.logFile);
    QList<QJsonObject> lines;
    for (const QByteArray &line : file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().split('\n') : QByteArrayList())
        lines.append(QJsonDocument::fromJson(line).object());
    return lines;
}
