#include "WireTap.h"

#include <QTcpSocket>
#include <QUrl>

#include <memory>

WireTap::WireTap()
{
    listener_.listen(QHostAddress::LocalHost);
    connect(&listener_, &QTcpServer::newConnection, this, &WireTap::accept);
}

QList<WireTap::Request> WireTap::requestsTo(const QString &path) const
{
    QList<Request> matching = requests_;
    matching.removeIf([&](const Request &request) { return request.path != path; });
    return matching;
}

void WireTap::accept()
{
    while (QTcpSocket *client = listener_.nextPendingConnection()) {
        auto *upstream = new QTcpSocket(client);
        upstream->connectToHost(QHostAddress::LocalHost, upstreamPort_);
        upstream->waitForConnected(5000);
        auto pending = std::make_shared<QByteArray>();
        connect(client, &QTcpSocket::readyRead, this, [this, client, upstream, pending] {
            const QByteArray bytes = client->readAll();
            upstream->write(bytes);
            *pending += bytes;
            keepHeads(*pending);
        });
        connect(upstream, &QTcpSocket::readyRead, client, [client, upstream] { client->write(upstream->readAll()); });
        connect(upstream, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    }
}

// The library sends no bodies, so a blank line ends each request.
void WireTap::keepHeads(QByteArray &pending)
{
    for (qsizetype end; (end = pending.indexOf("\r\n\r\n")) >= 0; pending.remove(0, end + 4)) {
        const QByteArray head = pending.left(end);
        const QUrl target = QUrl::fromEncoded(head.split(' ').value(1));
        requests_.append({target.path(), QUrlQuery(target), head});
    }
}
