#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace testsupport {

// A real velmora-adserver on an ephemeral port of 127.0.0.1, started with
// the given options, and what it has seen: its request log and /stats (from
// its admin listener, on another ephemeral port). Its log, and the count
// database beside it, go to `dir` (so that a restart finds them) or to a
// temporary directory of its own. Its standard error is this process's.
class AdServerProcess
{
public:
    explicit AdServerProcess(const QStringList &arguments = {}, const QString &dir = {});
    ~AdServerProcess();

    // The house site the server serves by default.
    static QString siteDirectory() { return QStringLiteral(VELMORA_ADSERVER_WWW); }
    // A copy of the house site in `dir` that serves one creative only.
    static QString siteServing(const QTemporaryDir &dir, const QString &creative);

    bool isRunning() const { return port_ != 0; }
    quint16 port() const { return quint16(port_); }
    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(port_); }
    // Where /stats, the dashboard and /metrics are served.
    quint16 adminPort() const { return quint16(adminPort_); }
    QString adminHost() const { return QStringLiteral("127.0.0.1:%1").arg(adminPort_); }
    QString logPath() const { return dir_ + QStringLiteral("/requests.jsonl"); }
    qint64 pid() const { return process_.processId(); }
    void signal(int number);
    // Sends `number` and waits: the exit code, or -1 when the signal killed it.
    int stop(int number);

    // Every logged request, oldest first. The server writes its log within
    // a fraction of a second, so poll for what should arrive.
    QList<QJsonObject> requests() const;
    // The logged requests whose path is `path`.
    QList<QJsonObject> requestsTo(const QString &path) const;
    QJsonObject stats() const;

private:
    QTemporaryDir ownDir_;
    QString dir_;
    QProcess process_;
    int port_ = 0;
    int adminPort_ = 0;
};

}  // namespace testsupport
