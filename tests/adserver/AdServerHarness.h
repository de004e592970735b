#pragma once

#include "AdServer.h"

#include <QJsonObject>
#include <QMap>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include <memory>

// An ad server on ephemeral ports in this process, set up by command-line
// arguments, and a client that sees every response as it is (no redirects followed).
class AdServerHarness
{
public:
    struct Response
    {
        int status = 0;
        QByteArray body;
        QMap<QByteArray, QByteArray> headers;  // names in lower case
        QByteArray header(const QByteArray &name) const { return headers.value(name.toLower()); }
    };

    explicit AdServerHarness(const QStringList &arguments = {});

    // The program name and what every harness passes, before `arguments`.
    static QStringList withDefaults(const QStringList &arguments);

    bool isRunning() const { return started_; }
    QString startError() const { return error_; }
    quint16 port() const { return server_->port(); }
    quint16 adminPort() const;
    QByteArray base() const { return server_->baseUrl(); }
    QByteArray adminBase() const { return server_->adminUrl(); }
    const TransportCounters &counters(AdServer::Listener listener = AdServer::Listener::clients) const
    {
        return server_->transportCounters(listener);
    }

    // A path goes to the public listener; a full URL anywhere.
    Response get(const QByteArray &pathOrUrl, const QList<QPair<QByteArray, QByteArray>> &headers = {});
    QJsonObject stats();
    QJsonValue unitStats();

    QString logPath() const { return options_.logFile; }
    // Every logged request so far, the pending ones written first.
    QList<QJsonObject> logLines();

private:
    ServerOptions options_;
    std::unique_ptr<AdServer> server_;
    QNetworkAccessManager network_;
    bool started_ = false;
    QString error_;
};
