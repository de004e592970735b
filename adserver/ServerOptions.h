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
    static inline const QString gameAdUnit = QStringLiteral("a1f3c29b07d5e64");

    quint16 port = defaultPort;
    QHostAddress bindAddress = QHostAddress::LocalHost;
    QString publicHost;  // the host name put into links; the bind address when empty
    quint16 publicPort = 0;  // the port put into links (a load balancer's); the listening port when 0
    QStringList units{gameAdUnit};
    double refreshSeconds = 30;
    double fillRate = 1.0;
    QString wwwDir;
    QString logFile;
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
