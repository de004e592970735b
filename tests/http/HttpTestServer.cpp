#include "HttpTestServer.h"

#include <QTcpServer>
#include <QTcpSocket>

QByteArray HttpTestServer::Request::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value.isNull() ? QByteArray("") : value;
    }
    return {};
}

HttpTestServer::HttpTestServer()
{
    server_.setMissingHandler([this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        const QString path = request.url().path();
        requests_.append({path, request.query(), request.headers()});
        const auto handler = handlers_.find(path);
        if (handler == handlers_.end())
            respond(responder, 404, {}, "not found");
        else
            (*handler)(request, responder);
    });
    port_ = server_.listen(QHostAddress::LocalHost, 0);
}

QUrl HttpTestServer::url(const QString &pathAndQuery) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(pathAndQuery));
}

void HttpTestServer::on(const QString &path, Handler handler)
{
    handlers_.insert(path, std::move(handler));
}

void HttpTestServer::reply(const QString &path, int status, const Headers &headers, const QByteArray &body)
{
    on(path, [=](const QHttpServerRequest &, QHttpServerResponder &responder) {
        respond(responder, status, headers, body);
    });
}

void HttpTestServer::redirect(const QString &path, const QString &location, int status)
{
    reply(path, status, {{"Location", location.toUtf8()}});
}

void HttpTestServer::refuseConnections()
{
    for (QTcpServer *listener : server_.servers())
        listener->close();
}

QList<HttpTestServer::Request> HttpTestServer::requestsTo(const QString &path) const
{
    QList<Request> matching;
    for (const Request &request : requests_) {
        if (request.path == path)
            matching.append(request);
    }
    return matching;
}

void HttpTestServer::respond(QHttpServerResponder &responder, int status, const Headers &headers,
                             const QByteArray &body)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    bytes += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    for (const auto &[name, value] : headers)
        bytes += name + ": " + value + "\r\n";
    responder.socket()->write(bytes + "\r\n" + body);
}

void HttpTestServer::respondRaw(QHttpServerResponder &responder, const QByteArray &bytes)
{
    QTcpSocket *socket = responder.socket();
    socket->write(bytes);
    socket->disconnectFromHost();
}
