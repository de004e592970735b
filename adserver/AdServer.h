#pragma once

#include "ServerOptions.h"
#include "metrics/ServerMetrics.h"
#include "routes/CoreScript.h"
#include "routes/CreativeCatalogue.h"
#include "routes/FaultInjector.h"
#include "store/AdStats.h"
#include "store/CountStore.h"
#include "store/GroupCommit.h"
#include "store/RecentRequests.h"
#include "store/RequestLog.h"

#include <memory>
#include <mutex>

class AdRoutes;
class HttpRequest;
class HttpTransport;
class Reply;
struct TransportCounters;
class StaticFiles;

// The house ad server: loads the site, opens the request log and the count
// database, listens, and answers each request through AdRoutes on the
// transport's threads, one route at a time; trackers are answered from the
// group commit's thread once their counts are stored. The operator's pages
// are served on a listener of their own.
class AdServer
{
public:
    // The public port answers ads; the operator's serves /stats, the dashboard and /metrics.
    enum class Listener { clients, admin };

    explicit AdServer(const ServerOptions &options);
    // Stops serving, then writes every logged line and count.
    ~AdServer();
    AdServer(const AdServer &) = delete;
    AdServer &operator=(const AdServer &) = delete;

    // Loads the site and opens the log and the database, then listens; explains any failure.
    bool start(QString *error);
    quint16 port() const;
    // What links point at; where the server listens.
    QByteArray baseUrl() const;
    QByteArray listeningUrl() const;
    QByteArray adminUrl() const;

    // After log rotation: the next lines go to a new file at the log's path.
    void reopenLog() { log_.reopen(); }
    RequestLog &requestLog() { return log_; }
    const TransportCounters &transportCounters(Listener listener = Listener::clients) const;

private:
    bool openStorage(QString *error);
    QString boundHost() const;
    static QString hostText(const QHostAddress &address);
    Reply respond(const HttpRequest &request, Listener listener);
    Reply metricsPage();

    ServerOptions options_;
    FaultInjector faults_;
    CreativeCatalogue catalogue_;
    CoreScript script_;
    RequestLog log_;
    RecentRequests recent_;
    ServerMetrics metrics_;
    std::unique_ptr<CountStore> store_;
    std::unique_ptr<GroupCommit> commits_;
    std::unique_ptr<StaticFiles> files_;
    std::unique_ptr<AdStats> stats_;
    std::unique_ptr<AdRoutes> routes_;
    std::mutex routesMutex_;
    std::unique_ptr<HttpTransport> transport_;
    std::unique_ptr<HttpTransport> adminTransport_;
};
