#pragma once

#include <QHostAddress>
#include <QString>
#include <QStringList>

// Everything the operator can set on the command line. parse() fills it or
// explains, in one line, what was wrong.
class ServerOptions
{
public:
    static constexpr quint16 defaultPort = 8470;
    static inline const QString gameAdUnit = QStringLiteral("a1f3c29b07d5e64");

    quint16 port = defaultPort;
    QHostAddress bindAddress = QHostAddress::LocalHost;
    QStringList units{gameAdUnit};
    double refreshSeconds = 30;
    double fillRate = 1.0;
    QString wwwDir;
    QString logFile;
    int recentCount = 100;
    QStringList faults;

    // `arguments` includes the program name, as QCoreApplication::arguments() does.
    bool parse(const QStringList &arguments, QString *error);

    static bool isWellFormedUnit(const QString &unit);
    static QString defaultWwwDir();
    static QString defaultLogFile();
};
