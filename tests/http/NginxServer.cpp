#include "NginxServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

QString findNginx()
{
    const QString found = QStandardPaths::findExecutable(QStringLiteral("nginx"));
    if (!found.isEmpty())
        return found;
    return QStandardPaths::findExecutable(QStringLiteral("nginx"), {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
}

}  // namespace

NginxServer::NginxServer(const QString &extraLocations) : extraLocations_(extraLocations)
{
    QDir(prefix_.path()).mkpath(QStringLiteral("www"));
    QDir(prefix_.path()).mkpath(QStringLiteral("temp"));
}

NginxServer::~NginxServer()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.terminate();
        if (!process_.waitForFinished(10000))
            process_.kill();
        process_.waitForFinished(5000);
    }
}

QString NginxServer::documentRoot() const
{
    return prefix_.filePath(QStringLiteral("www"));
}

QUrl NginxServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(path));
}

QString NginxServer::writeConfig() const
{
    const QString p = prefix_.path();
    const QString config = QStringLiteral(R"(daemon off;
master_process off;
pid %1/nginx.pid;
error_log %1/error.log;
events { worker_connections 64; }
http {
    log_format probe '$request_uri|$http_if_modified_since|$status';
    access_log %1/access.log probe;
    client_body_temp_path %1/temp/body;
    proxy_temp_path %1/temp/proxy;
    fastcgi_temp_path %1/temp/fastcgi;
    uwsgi_temp_path %1/temp/uwsgi;
    scgi_temp_path %1/temp/scgi;
    default_type text/plain;
    server {
        listen 127.0.0.1:%2;
        root %1/www;
        %3
    }
}
)").arg(p).arg(port_).arg(extraLocations_);
    const QString path = prefix_.filePath(QStringLiteral("nginx.conf"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) != config.toUtf8().size())
        return {};
    return path;
}

QString NginxServer::start()
{
    const QString nginx = findNginx();
    if (nginx.isEmpty())
        return QStringLiteral("nginx is not installed; scripts/setup installs it (scripts/debian-packages)");
    port_ = freePort();
    const QString config = writeConfig();
    if (config.isEmpty())
        return QStringLiteral("cannot write the nginx configuration");

    process_.setProcessChannelMode(QProcess::MergedChannels);
    process_.start(nginx, {QStringLiteral("-p"), prefix_.path(), QStringLiteral("-c"), config, QStringLiteral("-e"),
                           prefix_.filePath(QStringLiteral("error.log"))});
    // nginx says nothing when ready: poll its port, and notice an early exit.
    const QDeadlineTimer deadline(20000);
    while (!deadline.hasExpired()) {
        if (process_.state() == QProcess::NotRunning) {
            QFile log(prefix_.filePath(QStringLiteral("error.log")));
            log.open(QIODevice::ReadOnly);
            return QStringLiteral("nginx exited: %1 %2").arg(QString::fromLocal8Bit(process_.readAll()),
                                                           QString::fromLocal8Bit(log.readAll()));
        }
        QTcpSocket probe;
        probe.connectToHost(QHostAddress::LocalHost, port_);
        if (probe.waitForConnected(500))
            return {};
        QTest::qWait(20);
    }
    return QStringLiteral("nginx did not start listening on port %1").arg(port_);
}

QStringList NginxServer::accessLog() const
{
    QFile log(prefix_.filePath(QStringLiteral("access.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
