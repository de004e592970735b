#pragma once

#include "AdServer.h"
#include "ServerOptions.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>

inline const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();
inline const QByteArray adRequest = "/ad?slotname=" + gameUnit + "&preqs=1";

// An ad server on an ephemeral port in this process, configured by command-line
// arguments, and a client that sees every response as it is (no redirects followed).
class AdServerHarness
{
public:
    struct Response
    {
        int status = 0;
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray body;
        QList<QNetworkReply::RawHeaderPair> headers;
        QByteArray header(const QByteArray &name) const
        {
            for (const auto &[key, value] : headers) {
                if (key.compare(name, Qt::CaseInsensitive) == 0)
                    return value;
            }
            return {};
        }
    };

    explicit AdServerHarness(const QStringList &arguments = {})
    {
        if (!options_.parse(withDefaults(arguments), &error_))
            qFatal("bad harness arguments: %s", qPrintable(error_));
        server_ = std::make_unique<AdServer>(options_);
        started_ = server_->start(&error_);
    }

    // What the option parser says about `arguments`; empty when they are fine.
    static QString parseError(const QStringList &arguments)
    {
        ServerOptions options;
        QString error;
        return options.parse(withDefaults(arguments), &error) ? QString() : error;
    }

    bool isRunning() const { return started_; }
    QString startError() const { return error_; }
    QByteArray base() const { return server_->baseUrl(); }

    Response get(const QByteArray &pathOrUrl, const QList<QPair<QByteArray, QByteArray>> &headers = {})
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

    QJsonObject stats() { return QJsonDocument::fromJson(get("/stats").body).object(); }
    QJsonValue unitStats() { return QJsonValue(stats())["units"][ServerOptions::gameAdUnit]; }

    QList<QJsonObject> logLines()
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

private:
    static QStringList withDefaults(const QStringList &arguments)
    {
        static QTemporaryDir dir;  // the log of every server in this test run
        static int servers = 0;
        const QString log = dir.filePath(QStringLiteral("requests-%1.jsonl").arg(++servers));
        return QStringList{"velmora-adserver", "--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", log} + arguments;
    }

    ServerOptions options_;
    std::unique_ptr<AdServer> server_;
    QNetworkAccessManager network_;
    bool started_ = false;
    QString error_;
};
