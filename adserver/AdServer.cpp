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
    routes_ = std::make_unique<AdRoutes>(options_, faults_, catalogue_, script_, *files_, *stats_);
    writer_ = std::make_unique<BatchWriter>(log_, store_.get());

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

Reply AdServer::respond(const HttpRequest &request)
{
    Reply reply;
    {
        const std::lock_guard lock(routesMutex_);
        stats_->recordRequest();
        reply = request.method() == "GET" ? routes_->handle(request)
                                          : Reply::text(405, "only GET is served").addHeader("Allow", "GET");
    }
    log_.record(request.method(), request.path(), request.query(), reply.status);
    // The operator's view stays prompt even when the ad path is told to crawl.
    if (request.path() != QLatin1String("/stats"))
        reply.delayMs = faults_.delayMs();
    return reply;
}
