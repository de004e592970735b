#pragma once

#include <QString>
#include <QTemporaryDir>

namespace testsupport {

// A throw-away PostgreSQL server of its own in a temporary directory, on a
// free port of 127.0.0.1. As root it runs as the postgres user, which the
// server insists on.
class PostgresCluster
{
public:
    PostgresCluster();
    ~PostgresCluster();

    // Empty when the binaries are there, else what is missing.
    static QString missingBinaries();

    bool isRunning() const { return running_; }
    QString uri() const;
    bool start();
    // A fast shutdown: clients are cut off, nothing committed is lost.
    bool stop();

private:
    bool run(const QString &program, const QStringList &arguments);

    QTemporaryDir dir_;
    quint16 port_ = 0;
    bool running_ = false;
};

}  // namespace testsupport
