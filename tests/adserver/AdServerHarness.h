#pragma once

#include "AdServer.h"
#include "ServerOptions.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <memory>

// An ad server on an ephemeral port in this process, and a client that sees
// every response as it is (redirects are not followed).
class AdServerHarness
{
public:
    struct Response
    {
        int status = 0;
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray body;
        QList<QNetworkReply::RawHeaderPair> headers;
        QByteArray header(const QByteArray &name) const;
    };

    static ServerOptions defaultOptions();

    explicit AdServerHarness(ServerOptions options = defaultOptions());

    bool isRunning() const { return started_; }
    QString startError() const { return error_; }
    AdServer &server() { return *server_; }
    QByteArray base() const { return server_->baseUrl(); }
    QString logPath() const { return options_.logFile; }

    Response get(const QByteArray &pathOrUrl, const QList<QPair<QByteArray, QByteArray>> &headers = {});
    QJsonObject stats();
    QList<QJsonObject> logLines();

private:
    QTemporaryDir dir_;
    ServerOptions options_;
    std::unique_ptr<AdServer> server_;
    QNetworkAccessManager network_;
    bool started_ = false;
    QString error_;
};
