#include "AdServer.h"

#include "routes/AdRoutes.h"
#include "transport/HttpRequest.h"
#include "transport/HttpTransport.h"
#include "transport/Reply.h"
#include "routes/StaticFiles.h"

namespace {

// What a load balancer or the operator checks; never delayed by the ad path's faults.
bool operatorRoute(Route route)
{
    return isOperatorOnly(route) || route == Route::health || route == Route::readiness;
}

bool servedOn(AdServer::Listener listener, Route route)
{
    return listener == AdServer::Listener::admin ? operatorRoute(route) : !isOperatorOnly(route);
}

}  // namespace

AdServer::AdServer(const ServerOptions &options)
    : options_(options)
    , faults_(options.faults)
    , log_(options.logRetentionDays, options.vendorId, options.limits.logBacklogBytes)
    , recent_(options.recentCount, options.logRetentionDays, options.vendorId)
{
}

// No request runs while the rest goes; the last batch's answers are then
// dropped with their connections when the transport goes.
AdServer::~AdServer()
{
    if (transport_)
        transport_->stop();
    if (adminTransport_)
        adminTransport_->stop();
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
    stats_ = std::make_unique<AdStats>(options_.units, catalogue_.ids(), recent_, *commits_, store_->runNumber());
    stats_->watchStorage(&log_);
    routes_ = std::make_unique<AdRoutes>(options_, faults_, catalogue_, script_, *files_, *stats_, metrics_);

    transport_ = std::make_unique<HttpTransport>(options_.limits, [this](const HttpRequest &request) {
        return respond(request, Listener::clients);
    });
    adminTransport_ = std::make_unique<HttpTransport>(options_.limits, [this](const HttpRequest &request) {
        return respond(request, Listener::admin);
    });
    if (!transport_->listen(options_.bindAddress, options_.port, error)
        || !adminTransport_->listen(options_.adminBindAddress, options_.adminPort, error))
        return false;
    routes_->setBaseUrl(baseUrl());
    metrics_.watch(&transport_->counters(), &log_);
    transport_->start(options_.threads);
    adminTransport_->start(1);
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
    commits_ = std::make_unique<GroupCommit>(log_, *store_, *stored, options_.statsInterval, &recent_,
                                             [this](std::chrono::duration<double> latency, bool ok) {
                                                 metrics_.observeStoreBatch(latency.count(), ok);
                                             });
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
    return QStringLiteral("http://%1:%2").arg(hostText(options_.bindAddress)).arg(port()).toLatin1();
}

QByteArray AdServer::adminUrl() const
{
    const quint16 adminPort = adminTransport_ ? adminTransport_->port() : 0;
    return QStringLiteral("http://%1:%2").arg(hostText(options_.adminBindAddress)).arg(adminPort).toLatin1();
}

QString AdServer::boundHost() const
{
    return hostText(options_.bindAddress);
}

QString AdServer::hostText(const QHostAddress &address)
{
    return address.protocol() == QAbstractSocket::IPv6Protocol ? QLatin1Char('[') + address.toString() + QLatin1Char(']')
                                                                : address.toString();
}

const TransportCounters &AdServer::transportCounters(Listener listener) const
{
    return (listener == Listener::admin ? adminTransport_ : transport_)->counters();
}

Reply AdServer::respond(const HttpRequest &request, Listener listener)
{
    const Route route = routeOf(request.path());
    const bool get = request.method() == "GET";
    const bool served = servedOn(listener, route);
    Reply reply;
    AdStats::Staged counts;
    {
        const std::lock_guard lock(routesMutex_);
        stats_->recordRequest();
        if (get && served && route != Route::metrics)
            reply = routes_->handle(route, request);
        counts = stats_->takeCounts();
    }
    if (!get)
        reply = Reply::text(405, "only GET is served").addHeader("Allow", "GET");
    else if (!served)
        reply = Reply::text(404, "not found");
    else if (route == Route::metrics)
        reply = metricsPage();
    // A reply that waits for its count is counted when it goes.
    if (counts.durable.empty())
        metrics_.countRequest(route, reply.status);
    log_.record(request.method(), request.path(), request.query(), reply.status);
    // After the line, so that the batch holding these counts writes the line first.
    stats_->store(std::move(counts));
    // The operator's views stay prompt even when the ad path is told to crawl.
    if (!operatorRoute(route))
        reply.delayMs = faults_.delayMs();
    return reply;
}

Reply AdServer::metricsPage()
{
    Reply reply = Reply::withBody(200, "text/plain; version=0.0.4; charset=utf-8", QByteArray::fromStdString(metrics_.page()));
    reply.addHeader("Cache-Control", "no-store");
    return reply;
}
