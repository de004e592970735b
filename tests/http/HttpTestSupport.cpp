#include "HttpTestSupport.h"

#include <QDir>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTimer>

HttpTestServer::HttpTestServer()
{
    server_.setMissingHandler([this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        Request recorded{request.url().path(), request.query(), {}};
        for (const auto &[name, value] : request.headers())
            recorded.headers.insert(name.toLower(), value);
        requests_.append(recorded);
        const auto handler = handlers_.find(request.url().path());
        if (handler == handlers_.end())
            respond(responder, 404, {}, "not found");
        else
            (*handler)(request, responder);
    });
    port_ = server_.listen(QHostAddress::LocalHost, 0);
}

void HttpTestServer::respond(QHttpServerResponder &responder, int status, const Headers &headers, const QByteArray &body)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\nContent-Length: "
                       + QByteArray::number(body.size()) + "\r\n";
    for (const auto &[name, value] : headers)
        bytes += name + ": " + value + "\r\n";
    responder.socket()->write(bytes + "\r\n" + body);
}

void HttpTestServer::drip(const QString &path, int intervalMs)
{
    on(path, [intervalMs](const QHttpServerRequest &, QHttpServerResponder &responder) {
        QTcpSocket *socket = responder.socket();
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        auto *drip = new QTimer(socket);
        QObject::connect(drip, &QTimer::timeout, socket, [socket] { socket->write("x"); });
        drip->start(intervalMs);
    });
}

QString NginxServer::start()
{
    const QString nginx = QStandardPaths::findExecutable("nginx", qEnvironmentVariable("PATH").split(':') + QStringList{"/usr/sbin", "/sbin"});
    if (nginx.isEmpty())
        return "nginx is not installed; scripts/setup installs it (scripts/debian-packages)";
    QDir(prefix_.path()).mkpath("www");
    QDir(prefix_.path()).mkpath("temp");
    QString problem;
    // A port found free may be taken by someone else before nginx binds it: try again then.
    for (int attempt = 0; attempt < 5; ++attempt) {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        port_ = probe.serverPort();
        probe.close();
        const QByteArray config = QStringLiteral(R"(daemon off; master_process off;
pid %1/nginx.pid; error_log %1/error.log;
events { worker_connections 64; }
http {
    access_log off;
    client_body_temp_path %1/temp/body; proxy_temp_path %1/temp/proxy; fastcgi_temp_path %1/temp/fastcgi;
    uwsgi_temp_path %1/temp/uwsgi; scgi_temp_path %1/temp/scgi;
    default_type text/plain;
    server { listen 127.0.0.1:%2; root %1/www; }
}
)").arg(prefix_.path()).arg(port_).toUtf8();
        QFile file(prefix_.filePath("nginx.conf"));
        if (!file.open(QIODevice::WriteOnly) || file.write(config) != config.size())
            return "cannot write the nginx configuration";
        file.close();
        process_.setProcessChannelMode(QProcess::MergedChannels);
        process_.start(nginx, {"-p", prefix_.path(), "-c", file.fileName(), "-e", prefix_.filePath("error.log")});
        // Until the start is confirmed the state reads Starting, even once nginx listens.
        process_.waitForStarted();
        // nginx says nothing when ready: poll its port, and notice an early exit.
        const bool settled = waitFor([&] {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, port_);
            return process_.state() == QProcess::NotRunning || socket.waitForConnected(500);
        });
        if (process_.state() == QProcess::Running)
            return settled ? QString() : "nginx did not start listening";
        QFile log(prefix_.filePath("error.log"));
        log.open(QIODevice::ReadOnly);
        problem = "nginx exited: " + QString::fromLocal8Bit(process_.readAll() + log.readAll());
        if (!problem.contains("Address already in use"))
            break;
    }
    return problem;
}
