#pragma once

#include "AdStats.h"
#include "CoreScript.h"
#include "CreativeCatalogue.h"
#include "FaultInjector.h"
#include "RequestLog.h"
#include "ServerOptions.h"

#include <QAbstractHttpServer>

#include <memory>

class AdRoutes;
class Reply;
class StaticFiles;
class QHttpServerResponder;
class QTcpServer;

// The house ad server: loads the site, listens, answers each request through
// AdRoutes, logs it, and applies the transport faults (delays, truncation).
class AdServer : public QAbstractHttpServer
{
    Q_OBJECT

public:
    explicit AdServer(const ServerOptions &options, QObject *parent = nullptr);
    ~AdServer() override;

    // Loads the site and opens the log, then listens; explains any failure.
    bool start(QString *error);
    quint16 port() const;
    QByteArray baseUrl() const;

    AdStats &stats() { return *stats_; }
    RequestLog &requestLog() { return log_; }

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    void respond(const QHttpServerRequest &request, QTcpSocket *socket, const Reply &reply);
    static void write(QHttpServerResponder &responder, const Reply &reply);

    ServerOptions options_;
    FaultInjector faults_;
    CreativeCatalogue catalogue_;
    CoreScript script_;
    std::unique_ptr<StaticFiles> files_;
    std::unique_ptr<AdStats> stats_;
    std::unique_ptr<AdRoutes> routes_;
    RequestLog log_;
    QTcpServer *listener_ = nullptr;
};
