#include "AdServer.h"

#include "routes/AdRoutes.h"
#include "store/BatchWriter.h"
#include "transport/HttpRequest.h"
#include "transport/HttpTransport.h"
#include "transport/Reply.h"
#include "routes/StaticFiles.h"

AdServer::AdServer(const ServerOptions &options)
    : options_(options)
    , faults_(options.faults)
{
}

// Members go in reverse order: the transport first, so no request runs while the rest goes.
AdServer::~AdServer() = default;

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
    stats_ = std::make_unique<AdStats>(options_.units, catalogue_.ids(), options_.recentCount, store_.get());
    stats_->watchStorage(&log_);
    routes_ = std::make_unique<AdRoutes>(options_, faults_, catalogue_, script_, *files_, *stats_, metrics_);
    writer_ = std::make_unique<BatchWriter>(log_, store_.get(),
                                            [this](double seconds, bool ok) { metrics_.observeStoreBatch(seconds, ok); });

    transport_ = std::make_unique<HttpTransport>(options_.limits, [this](const HttpRequest &request) { return respond(request); });
    if (!transport_->listen(options_.bindAddress, options_.port, error))
        return false;
    routes_->setBaseUrl(baseUrl());
    metrics_.watch(&transport_->counters(), &log_);
    transport_->start(options_.threads);
    return true;
}

bool AdServer::openStorage(QString *error)
{
    if (!options_.logFile.isEmpty() && !log_.open(options_.logFile, error))
        return false;
    if (options_.databaseFile.isEmpty())
        return true;
    store_ = std::make_unique<CountStore>();
    return store_->open(options_.databaseFile, error);
}

quint16 AdServer::port() const
{
    return transport_ ? transport_->port() : 0;
}

QByteArray AdServer::baseUrl() const
{
    const QHostAddress address = options_.bindAddress;
    QString host = options_.publicHost;
    if (host.isEmpty()) {
        host = address.protocol() == QAbstractSocket::IPv6Protocol ? QLatin1Char('[') + address.toString() + QLatin1Char(']')
                                                                    : address.toString();
    }
    return QStringLiteral("http://%1:%2").arg(host).arg(port()).toLatin1();
}

const TransportCounters &AdServer::transportCounters() const
{
    return transport_->counters();
}

Reply AdServer::respond(const HttpRequest &request)
{
    const AdRoutes::Route route = AdRoutes::routeOf(request.path());
    const bool get = request.method() == "GET";
    Reply reply;
    {
        const std::lock_guard lock(routesMutex_);
        stats_->recordRequest();
        if (get && route != AdRoutes::Route::metrics)
            reply = routes_->handle(route, request);
    }
    if (!get)
        reply = Reply::text(405, "only GET is served").addHeader("Allow", "GET");
    else if (route == AdRoutes::Route::metrics)
        reply = metricsPage();
    metrics_.countRequest(route, reply.status);
    log_.record(request.method(), request.path(), request.query(), reply.status);
    // The operator's views stay prompt even when the ad path is told to crawl.
    if (route != AdRoutes::Route::stats && route != AdRoutes::Route::metrics)
        reply.delayMs = faults_.delayMs();
    return reply;
}

Reply AdServer::metricsPage()
{
    Reply reply = Reply::withBody(200, "text/plain; version=0.0.4; charset=utf-8", QByteArray::fromStdString(metrics_.page()));
    reply.addHeader("Cache-Control", "no-store");
    return reply;
}
