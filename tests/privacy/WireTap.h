#pragma once

#include <QList>
#include <QTcpServer>
#include <QUrlQuery>

// Passes every byte between the library and a server on 127.0.0.1 and keeps
// the request heads as they crossed, so a test reads what was really sent
// whatever the server makes of it.
class WireTap : public QObject
{
    Q_OBJECT
public:
    struct Request
    {
        QString path;
        QUrlQuery query;
        QByteArray head;
    };

    WireTap();
    quint16 port() const { return listener_.serverPort(); }
    void setUpstreamPort(quint16 port) { upstreamPort_ = port; }
    QList<Request> requestsTo(const QString &path) const;

private:
    void accept();
    void keepHeads(QByteArray &pending);

    QTcpServer listener_;
    quint16 upstreamPort_ = 0;
    QList<Request> requests_;
};
