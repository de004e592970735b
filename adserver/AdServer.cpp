#include "AdServer.h"

#include "routes/AdRoutes.h"
#include "transport/HttpRequest.h"
#include "transport/HttpTransport.h"
#include "transport/Reply.h"
#include "routes/StaticFiles.h"

AdServer::AdServer(const ServerOptions &options)
    : options_(options)
    , faults_(options.faults)
{
}

// No request runs while the rest goes; the last batch's answers are then
// dropped with their connections when the transport goes.
AdServer::~AdServer()
{
    if (transport_)
        transport_->stop();
    routes_.reset();
    stats_.reset();
    commits_.reset();
}

bool AdServer::start(QString *error)
{
    if (!catalogue_.load(options_.wwwDir, error))
        return false;
    const QStringList servedUnits = catalogue_.next() ? options_.units : QStringList();
    if (!script_.load(options_.wwwDir, servedUnits, error))
        return false;
    if (faults_.garbageScript())
        script_.makeGarbage();
    if (!openStorage(error))
        return false;
    files_ = std::make_unique<StaticFiles>(options_.wwwDir);
    stats_ = std::make_unique<AdStats>(options_.units, catalogue_.ids(), options_.recentCount, *commits_, store_->runNumber());
    stats_->watchStorage(&log_);
    routes_ = std::make_unique<AdRoutes>(options_, faults_, catalogue_, script_, *files_, *stats_);

    transport_ = std::make_unique<HttpTransport>(options_.limits, [this](const HttpRequest &request) { return respond(request); });
    if (!transport_->listen(options_.bindAddress, options_.port, error))
        return false;
    routes_->setBaseUrl(baseUrl());
    transport_->start(options_.threads);
    return true;
}

bool AdServer::openStorage(QString *error)
{
    if (!options_.logFile.isEmpty() && !log_.open(options_.logFile, error))
        return false;
    // Without a database the counts still go through the same path, kept in memory.
    store_ = CountStore::open(options_.store.isEmpty() ? QStringLiteral(":memory:") : options_.store, error);
    if (!store_)
        return false;
    const std::optional<CountStore::Counts> stored = store_->load();
    if (!stored) {
        *error = QStringLiteral("cannot read the count database");
        return false;
    }
    commits_ = std::make_unique<GroupCommit>(log_, *store_, *stored, options_.statsInterval, batchObserver_);
    return true;
}

quint16 AdServer::port() const
{
    return transport_ ? transport_->port() : 0;
}

QByteArray AdServer::baseUrl() const
{
    const QString host = options_.publicHost.isEmpty() ? boundHost() : options_.publicHost;
    return QStringLiteral("http://%1:%2").arg(host).arg(options_.publicPort ? options_.publicPort : port()).toLatin1();
}

QByteArray AdServer::listeningUrl() const
{
    return QStringLiteral("http://%1:%2").arg(boundHost()).arg(port()).toLatin1();
}

QString AdServer::boundHost() const
{
    const QHostAddress &address = options_.bindAddress;
    return address.protocol() == QAbstractSocket::IPv6Protocol ? QLatin1Char('[') + address.toString() + QLatin1Char(']')
                                                                : address.toString();
}

Reply AdServer::respond(const HttpRequest &request)
{
    Reply reply;
    std::vector<GroupCommit::Key> counts;
    {
        const std::lock_guard lock(routesMutex_);
        stats_->recordRequest();
        reply = request.method() == "GET" ? routes_->handle(request)
                                          : Reply::text(405, "only GET is served").addHeader("Allow", "GET");
        counts = stats_->takeCounts();
    }
    log_.record(request.method(), request.path(), request.query(), reply.status);
    // After the line, so that the batch holding these counts writes the line first.
    stats_->store(counts);
    // The operator's view stays prompt even when the ad path is told to crawl.
    if (request.path() != QLatin1String("/stats"))
        reply.delayMs = faults_.delayMs();
    if (reply.deferred && reply.delayMs > 0) {
        reply.deferred = [start = std::move(reply.deferred), delayMs = reply.delayMs](Reply::Completion complete) {
            start([complete = std::move(complete), delayMs](Reply answer) {
                answer.delayMs = delayMs;
                complete(std::move(answer));
            });
        };
    }
    return reply;
}
