#include "ServerOptions.h"

#include "FaultInjector.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

bool parseNumber(const QString &text, double minimum, double maximum, double *out)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || value < minimum || value > maximum)
        return false;
    *out = value;
    return true;
}

}  // namespace

bool ServerOptions::isWellFormedUnit(const QString &unit)
{
    static const QRegularExpression pattern(QStringLiteral("^a[0-9a-f]{14}$"));
    return pattern.match(unit).hasMatch();
}

QString ServerOptions::defaultWwwDir()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/www");
}

QString ServerOptions::defaultLogFile()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    return dir + QStringLiteral("/requests.jsonl");
}

bool ServerOptions::parse(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The Velmora house ad server."));
    parser.addHelpOption();
    const QCommandLineOption portOption(QStringLiteral("port"), QStringLiteral("TCP port (0 picks a free one)."), QStringLiteral("PORT"), QString::number(defaultPort));
    const QCommandLineOption bindOption(QStringLiteral("bind"), QStringLiteral("Address to listen on."), QStringLiteral("ADDRESS"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption unitsOption(QStringLiteral("units"), QStringLiteral("Comma-separated ad units to serve."), QStringLiteral("UNITS"), gameAdUnit);
    const QCommandLineOption refreshOption(QStringLiteral("refresh"), QStringLiteral("Banner refresh period in seconds; 0 sends none."), QStringLiteral("SECONDS"), QStringLiteral("30"));
    const QCommandLineOption fillOption(QStringLiteral("fill-rate"), QStringLiteral("Share of ad requests that get an ad, 0 to 1."), QStringLiteral("RATE"), QStringLiteral("1"));
    const QCommandLineOption wwwOption(QStringLiteral("www"), QStringLiteral("Site directory (core script, creatives, pages)."), QStringLiteral("DIR"));
    const QCommandLineOption logOption(QStringLiteral("log"), QStringLiteral("Request log file (JSON lines)."), QStringLiteral("FILE"));
    const QCommandLineOption recentOption(QStringLiteral("recent"), QStringLiteral("Ad requests kept for /stats."), QStringLiteral("N"), QStringLiteral("100"));
    const QCommandLineOption faultOption(QStringLiteral("fault"), QStringLiteral("Misbehave: %1. Repeatable.").arg(FaultInjector::modeSyntax()), QStringLiteral("MODE"));
    parser.addOptions({portOption, bindOption, unitsOption, refreshOption, fillOption, wwwOption, logOption, recentOption, faultOption});

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        *error = parser.helpText();
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument: %1").arg(parser.positionalArguments().first());
        return false;
    }

    double number = 0;
    if (!parseNumber(parser.value(portOption), 0, 65535, &number) || number != int(number)) {
        *error = QStringLiteral("--port wants a whole number from 0 to 65535, not \"%1\"").arg(parser.value(portOption));
        return false;
    }
    port = quint16(number);

    if (!bindAddress.setAddress(parser.value(bindOption))) {
        *error = QStringLiteral("--bind wants an IP address, not \"%1\"").arg(parser.value(bindOption));
        return false;
    }

    units = parser.value(unitsOption).split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (QString &unit : units) {
        unit = unit.trimmed();
        if (!isWellFormedUnit(unit)) {
            *error = QStringLiteral("--units: \"%1\" is not an ad unit (\"a\" and 14 lowercase hex digits)").arg(unit);
            return false;
        }
    }

    if (!parseNumber(parser.value(refreshOption), 0, 86400, &refreshSeconds)) {
        *error = QStringLiteral("--refresh wants seconds from 0 to 86400, not \"%1\"").arg(parser.value(refreshOption));
        return false;
    }
    if (!parseNumber(parser.value(fillOption), 0, 1, &fillRate)) {
        *error = QStringLiteral("--fill-rate wants a number from 0 to 1, not \"%1\"").arg(parser.value(fillOption));
        return false;
    }
    if (!parseNumber(parser.value(recentOption), 0, 100000, &number) || number != int(number)) {
        *error = QStringLiteral("--recent wants a whole number from 0 to 100000, not \"%1\"").arg(parser.value(recentOption));
        return false;
    }
    recentCount = int(number);

    wwwDir = parser.isSet(wwwOption) ? parser.value(wwwOption) : defaultWwwDir();
    if (!QFileInfo(wwwDir + QStringLiteral("/tiskos/sdk-core-v40.js")).isFile()) {
        *error = QStringLiteral("--www: \"%1\" holds no core script (tiskos/sdk-core-v40.js)").arg(wwwDir);
        return false;
    }
    logFile = parser.isSet(logOption) ? parser.value(logOption) : defaultLogFile();

    faults = parser.values(faultOption);
    for (const QString &fault : std::as_const(faults)) {
        if (!FaultInjector::isValidMode(fault)) {
            *error = QStringLiteral("--fault: unknown mode \"%1\"; modes are %2").arg(fault, FaultInjector::modeSyntax());
            return false;
        }
    }
    return true;
}
