#include "PostgresCluster.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>

#include <pwd.h>
#include <unistd.h>

namespace testsupport {

namespace {

QString binary(const QString &name)
{
    const QString packaged = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/lib/postgresql/15/bin")});
    return packaged.isEmpty() ? QStandardPaths::findExecutable(name) : packaged;
}

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

const passwd *serverUser()
{
    return geteuid() == 0 ? getpwnam("postgres") : nullptr;
}

}  // namespace

PostgresCluster::PostgresCluster()
{
    if (!missingBinaries().isEmpty())
        return;
    if (const passwd *user = serverUser())
        ::chown(QFile::encodeName(dir_.path()).constData(), user->pw_uid, user->pw_gid);
    port_ = freePort();
    if (run(binary(QStringLiteral("initdb")), {"-D", dir_.filePath("data"), "-U", "velmora", "-A", "trust", "--no-sync", "-E", "UTF8"}))
        start();
}

PostgresCluster::~PostgresCluster()
{
    if (running_)
        run(binary(QStringLiteral("pg_ctl")), {"stop", "-D", dir_.filePath("data"), "-m", "immediate"});
}

QString PostgresCluster::missingBinaries()
{
    QStringList missing;
    for (const char *name : {"initdb", "pg_ctl", "postgres"}) {
        if (binary(QString::fromLatin1(name)).isEmpty())
            missing << QString::fromLatin1(name);
    }
    return missing.join(QStringLiteral(", "));
}

QString PostgresCluster::uri() const
{
    return QStringLiteral("postgresql://velmora@127.0.0.1:%1/postgres").arg(port_);
}

bool PostgresCluster::start()
{
    const QString options = QStringLiteral("-p %1 -k %2 -c listen_addresses=127.0.0.1 -c max_connections=50").arg(port_).arg(dir_.path());
    running_ = run(binary(QStringLiteral("pg_ctl")), {"start", "-w", "-D", dir_.filePath("data"), "-l", dir_.filePath("log"), "-o", options});
    return running_;
}

bool PostgresCluster::stop()
{
    running_ = !run(binary(QStringLiteral("pg_ctl")), {"stop", "-w", "-D", dir_.filePath("data"), "-m", "fast"});
    return !running_;
}

bool PostgresCluster::run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    if (const passwd *user = serverUser())
        process.start(QStringLiteral("runuser"), QStringList{"-u", QString::fromLocal8Bit(user->pw_name), "--", program} + arguments);
    else
        process.start(program, arguments);
    return process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

}  // namespace testsupport
