#include "AdServer.h"

#include "AdRoutes.h"
#include "Reply.h"
#include "StaticFiles.h"

#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QMetaEnum>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

AdServer::AdServer(const ServerOptions &options, QObject *parent)
    : QAbstractHttpServer(parent)
    , options_(options)
    , faults_(options.faults)
{
}

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
    if (!options_.logFile.isEmpty() && !log_.open(options_.logFile, error))
        return false;
    files_ = std::make_unique<StaticFiles>(options_.wwwDir);
    stats_ = std::make_unique<AdStats>(options_.units, catalogue_.ids(), options_.recentCount);
    routes_ = std::make_unique<AdRoutes>(options_, faults_, catalogue_, script_, *files_, *stats_);

    listener_ = new QTcpServer(this);
    if (!listener_->listen(options_.bindAddress, options_.port)) {
        *error = QStringLiteral("cannot listen on %1:%2: %3")
                     .arg(options_.bindAddress.toString())
                     .arg(options_.port)
                     .arg(listener_->errorString());
        return false;
    }
    bind(listener_);
    routes_->setServerAddress(baseUrl().mid(7));
    return true;
}

quint16 AdServer::port() const
{
    return listener_ ? listener_->serverPort() : 0;
}

QByteArray AdServer::baseUrl() const
{
    const QHostAddress address = options_.bindAddress;
    const QString host = address.protocol() == QAbstractSocket::IPv6Protocol
        ? QLatin1Char('[') + address.toString() + QLatin1Char(']')
        : address.toString();
    return QStringLiteral("http://%1:%2").arg(host).arg(port()).toLatin1();
}

bool AdServer::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    if (request.method() != QHttpServerRequest::Method::Get) {
        respond(request, socket, Reply::text(405, "only GET is served").addHeader("Allow", "GET"));
        return true;
    }
    respond(request, socket, routes_->handle(request));
    return true;
}

void AdServer::missingHandler(const QHttpServerRequest &request, QTcpSocket *socket)
{
    respond(request, socket, Reply::text(404, "not found"));
}

void AdServer::respond(const QHttpServerRequest &request, QTcpSocket *socket, const Reply &reply)
{
    const QString path = request.url().path();
    static const QMetaEnum methods = QMetaEnum::fromType<QHttpServerRequest::Method>();
    log_.record(QByteArray(methods.valueToKey(int(request.method()))).toUpper(), path, request.query(), reply.status);

    QHttpServerResponder responder = makeResponder(request, socket);
    // The operator's view stays prompt even when the ad path is told to crawl.
    if (faults_.delayMs() == 0 || path == QLatin1String("/stats")) {
        write(responder, reply);
        return;
    }
    auto delayed = std::make_shared<QHttpServerResponder>(std::move(responder));
    QTimer::singleShot(faults_.delayMs(), this, [delayed, reply, socket = QPointer<QTcpSocket>(socket)] {
        if (socket && socket->state() == QAbstractSocket::ConnectedState)
            write(*delayed, reply);
    });
}

void AdServer::write(QHttpServerResponder &responder, const Reply &reply)
{
    responder.writeStatusLine(QHttpServerResponder::StatusCode(reply.status));
    for (const auto &[name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeHeader("Content-Length", QByteArray::number(reply.body.size()));
    if (!reply.truncated) {
        responder.writeBody(reply.body);
        return;
    }
    responder.writeBody(reply.body.left(reply.body.size() / 2));
    responder.socket()->disconnectFromHost();
}
