#pragma once

#include "transport/HttpLimits.h"

#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <chrono>

// Everything the operator can set on the command line. parse() fills it or
// explains, in one line, what was wrong.
class ServerOptions
{
public:
    static constexpr quint16 defaultPort = 8470;
    static constexpr quint16 defaultAdminPort = 8471;
    static constexpr int defaultLogRetentionDays = 30;
    // Shorter values, such as the flags' "1", would match far more than one person.
    static constexpr int minimumErasedLength = 8;
    static inline const QString gameAdUnit = QStringLiteral("a1f3c29b07d5e64");

    quint16 port = defaultPort;
    QHostAddress bindAddress = QHostAddress::LocalHost;
    QString publicHost;  // the host name put into links; the bind address when empty
    quint16 publicPort = 0;  // the port put into links (a load balancer's); the listening port when 0
    // Where /stats, the dashboard and /metrics are served; never the public port.
    quint16 adminPort = defaultAdminPort;
    QHostAddress adminBindAddress = QHostAddress::LocalHost;
    QStringList units{gameAdUnit};
    double refreshSeconds = 30;
    double fillRate = 1.0;
    QString wwwDir;
    QString logFile;
    // Rotated log files and stored requests older than this go; 0 keeps them.
    int logRetentionDays = defaultLogRetentionDays;
    // The house network's vendor id in consent strings; 0 checks none.
    int vendorId = 0;
    // Set: erase this identifier from the log and the store instead of serving.
    QString eraseIdentifier;
    // An SQLite file or a postgresql:// URI; empty keeps the counts in memory.
    QString store;
    int recentCount = 100;
    QStringList faults;
    int threads = 1;
    HttpLimits limits;
    std::chrono::milliseconds statsInterval{1000};

    // `arguments` includes the program name, as QCoreApplication::arguments() does.
    // On --help and --version `error` holds the text to print and `*exitEarly` is set.
    bool parse(const QStringList &arguments, QString *error, bool *exitEarly = nullptr);

    static bool isWellFormedUnit(const QString &unit);
    static QString defaultWwwDir();
    static QString defaultLogFile();
    // Beside the request log: requests.jsonl -> requests.sqlite.
    static QString defaultDatabaseFile(const QString &logFile);
};
