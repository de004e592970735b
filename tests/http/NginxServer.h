#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

// A real nginx on 127.0.0.1 and an ephemeral port, serving a temporary
// document root, in the foreground and without a master process so it runs
// unprivileged or as root alike. It logs each request's URI, the
// If-Modified-Since it received and its status.
class NginxServer
{
public:
    // `extraLocations` goes into the server block as nginx configuration.
    explicit NginxServer(const QString &extraLocations = {});
    ~NginxServer();

    // Null when running; otherwise what went wrong, for the test to report.
    QString start();

    QString documentRoot() const;
    QUrl url(const QString &path) const;
    // "uri|if-modified-since|status" per request, "-" for a header not sent.
    QStringList accessLog() const;

private:
    QString writeConfig() const;

    QTemporaryDir prefix_;
    QString extraLocations_;
    quint16 port_ = 0;
    QProcess process_;
};
