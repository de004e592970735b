#pragma once

#include "AdServer.h"
#include "ServerOptions.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>

#include <memory>

inline const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();

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
        QByteArray header(const QByteArray &name) const;
    };

    explicit AdServerHarness(const QStringList &arguments = {});

    // What the server's option parser says about `arguments`; empty when they are fine.
    static QString parseError(const QStringList &arguments);

    bool isRunning() const { return started_; }
    QString startError() const { return error_; }
    QByteArray base() const { return server_->baseUrl(); }

    Response get(const QByteArray &pathOrUrl, const QList<QPair<QByteArray, QByteArray>> &headers = {});
    QJsonObject stats();
    QJsonValue unitStats() { return QJsonValue(stats())["units"][ServerOptions::gameAdUnit]; }
    QList<QJsonObject> logLines();

private:
    QTemporaryDir dir_;
    ServerOptions options_;
    std::unique_ptr<AdServer> server_;
    QNetworkAccessManager network_;
    bool started_ = false;
    QString error_;
};
