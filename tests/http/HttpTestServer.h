#pragma once

#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QList>
#include <QObject>
#include <QUrl>
#include <QUrlQuery>
#include <functional>

// A scripted HTTP server on 127.0.0.1 and an ephemeral port. Each path gets
// a handler; every request is recorded with its headers. Unknown paths get 404.
class HttpTestServer : public QObject
{
    Q_OBJECT
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;
    using Handler = std::function<void(const QHttpServerRequest &, QHttpServerResponder &)>;

    struct Request {
        QString path;
        QUrlQuery query;
        Headers headers;
        QByteArray header(const QByteArray &name) const;  // null when not sent
    };

    HttpTestServer();

    QUrl url(const QString &pathAndQuery) const;
    quint16 port() const { return port_; }

    void on(const QString &path, Handler handler);
    void reply(const QString &path, int status, const Headers &headers = {}, const QByteArray &body = {});
    void redirect(const QString &path, const QString &location, int status = 302);

    // Stops listening: later connections are refused.
    void refuseConnections();

    QList<Request> requestsTo(const QString &path) const;
    QList<Request> requests() const { return requests_; }

    // Answers with the given status, headers and body, adding Content-Length.
    static void respond(QHttpServerResponder &responder, int status, const Headers &headers,
                        const QByteArray &body);
    // Sends bytes as they are and closes the connection.
    static void respondRaw(QHttpServerResponder &responder, const QByteArray &bytes);

private:
    QHttpServer server_;
    quint16 port_ = 0;
    QHash<QString, Handler> handlers_;
    QList<Request> requests_;
};
