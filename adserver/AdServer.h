#pragma once

#include "store/AdStats.h"
#include "routes/CoreScript.h"
#include "store/CountStore.h"
#include "store/GroupCommit.h"
#include "routes/CreativeCatalogue.h"
#include "routes/FaultInjector.h"
#include "store/RequestLog.h"
#include "ServerOptions.h"

#include <memory>
#include <mutex>

class AdRoutes;
class HttpRequest;
class HttpTransport;
class Reply;
class StaticFiles;

// The house ad server: loads the site, opens the request log and the count
// database, listens, and answers each request through AdRoutes on the
// transport's threads, one route at a time; trackers are answered from the
// group commit's thread once their counts are stored.
class AdServer
{
public:
    explicit AdServer(const ServerOptions &options);
    // Stops serving, then writes every logged line and count.
    ~AdServer();
    AdServer(const AdServer &) = delete;
    AdServer &operator=(const AdServer &) = delete;

    // Told every count batch's latency and outcome, on the writer's thread; set before start().
    void observeStoreBatches(GroupCommit::BatchObserver observer) { batchObserver_ = std::move(observer); }

    // Loads the site and opens the log and the database, then listens; explains any failure.
    bool start(QString *error);
    quint16 port() const;
    // What links point at; where the server listens.
    QByteArray baseUrl() const;
    QByteArray listeningUrl() const;

    // After log rotation: the next lines go to a new file at the log's path.
    void reopenLog() { log_.reopen(); }
    RequestLog &requestLog() { return log_; }

private:
    bool openStorage(QString *error);
    QString boundHost() const;
    Reply respond(const HttpRequest &request);

    ServerOptions options_;
    FaultInjector faults_;
    CreativeCatalogue catalogue_;
    CoreScript script_;
    RequestLog log_;
    GroupCommit::BatchObserver batchObserver_;
    std::unique_ptr<CountStore> store_;
    std::unique_ptr<GroupCommit> commits_;
    std::unique_ptr<StaticFiles> files_;
    std::unique_ptr<AdStats> stats_;
    std::unique_ptr<AdRoutes> routes_;
    std::mutex routesMutex_;
    std::unique_ptr<HttpTransport> transport_;
};
