#include "ServerOptions.h"

#include "routes/FaultInjector.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

#include <cmath>
#include <thread>

namespace {

// A finite number within [minimum, maximum]; "nan" and "inf" never are.
bool parseNumber(const QString &text, double minimum, double maximum, double *out)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < minimum || value > maximum)
        return false;
    *out = value;
    return true;
}

bool parseWhole(const QString &text, double minimum, double maximum, double *out)
{
    return parseNumber(text, minimum, maximum, out) && *out == std::floor(*out);
}

int defaultThreads()
{
    return int(std::max(1u, std::thread::hardware_concurrency()));
}

}  // namespace

bool ServerOptions::isWellFormedUnit(const QString &unit)
{
    static const QRegularExpression pattern(QStringLiteral("^a[0-9a-f]{14}$"));
    return pattern.match(unit).hasMatch();
}

QString ServerOptions::defaultWwwDir()
{
    // Beside the program in the build tree; under share/ once installed.
    const QDir programDir(QCoreApplication::applicationDirPath());
    if (programDir.exists(QStringLiteral("www")))
        return programDir.filePath(QStringLiteral("www"));
    return QDir::cleanPath(programDir.filePath(QStringLiteral(VELMORA_ADSERVER_INSTALLED_WWW)));
}

QString ServerOptions::defaultLogFile()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    return dir + QStringLiteral("/requests.jsonl");
}

QString ServerOptions::defaultDatabaseFile(const QString &logFile)
{
    const QFileInfo log(logFile);
    return log.dir().filePath(log.completeBaseName() + QStringLiteral(".sqlite"));
}

bool ServerOptions::parse(const QStringList &arguments, QString *error, bool *exitEarly)
{
    const HttpLimits defaults;
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The Velmora house ad server."));
    parser.addHelpOption();
    parser.addVersionOption();
    auto option = [&parser](const char *name, const QString &help, const char *valueName, const QString &defaultValue = {}) {
        QCommandLineOption added(QString::fromLatin1(name), defaultValue.isEmpty() ? help : help + QStringLiteral(" Default: %1.").arg(defaultValue),
                                 QString::fromLatin1(valueName), defaultValue);
        parser.addOption(added);
        return added;
    };
    const auto portOption = option("port", QStringLiteral("TCP port (0 picks a free one)."), "PORT", QString::number(defaultPort));
    const auto bindOption = option("bind", QStringLiteral("Address to listen on."), "ADDRESS", QStringLiteral("127.0.0.1"));
    const auto adminPortOption = option("admin-port", QStringLiteral("TCP port of the operator's listener (/stats, the dashboard, /metrics); a free one when --port is 0."), "PORT", QString::number(defaultAdminPort));
    const auto adminBindOption = option("admin-bind", QStringLiteral("Address the operator's listener listens on."), "ADDRESS", QStringLiteral("127.0.0.1"));
    const auto publicHostOption = option("public-host", QStringLiteral("Host name put into links (Location, trackers, the core script); the bind address when not set."), "HOST");
    const auto publicPortOption = option("public-port", QStringLiteral("Port put into links, e.g. the load balancer's in front; the listening port when 0."), "PORT", QStringLiteral("0"));
    const auto unitsOption = option("units", QStringLiteral("Comma-separated ad units to serve."), "UNITS", gameAdUnit);
    const auto refreshOption = option("refresh", QStringLiteral("Banner refresh period in seconds, 1 to 86400; 0 sends none."), "SECONDS", QStringLiteral("30"));
    const auto fillOption = option("fill-rate", QStringLiteral("Share of ad requests that get an ad, 0 to 1."), "RATE", QStringLiteral("1"));
    const auto wwwOption = option("www", QStringLiteral("Site directory (core script, creatives, pages). Default: www/ beside the program, else the installed one."), "DIR");
    const auto logOption = option("log", QStringLiteral("Request log file (JSON lines); SIGHUP reopens it."), "FILE", defaultLogFile());
    const QCommandLineOption databaseOption(QStringList{QStringLiteral("store"), QStringLiteral("db")},
                                            QStringLiteral("Count database: an SQLite file, or a postgresql:// URI that any number of servers share."
                                                           " Default: an SQLite file beside the log, named after it (requests.sqlite)."),
                                            QStringLiteral("FILE|URI"));
    parser.addOption(databaseOption);
    const auto retentionOption = option("log-retention-days", QStringLiteral("Days rotated request logs and stored ad requests are kept; 0 keeps them for ever."), "DAYS", QString::number(defaultLogRetentionDays));
    const auto vendorOption = option("vendor-id", QStringLiteral("The house network's vendor id in consent strings, whose consent a request then needs; 0 checks none."), "ID", QStringLiteral("0"));
    const auto eraseOption = option("erase-identifier", QStringLiteral("Remove every log line and stored request holding ID (at least %1 characters), print how many, and exit.").arg(minimumErasedLength), "ID");
    const auto recentOption = option("recent", QStringLiteral("Latest ad requests listed in /stats, of every server on the store."), "N", QStringLiteral("100"));
    const auto statsOption = option("stats-interval", QStringLiteral("Seconds a built /stats page is served before it is rebuilt; 0 rebuilds it every time."), "SECONDS", QStringLiteral("1"));
    const auto faultOption = option("fault", QStringLiteral("Misbehave: %1. Repeatable.").arg(FaultInjector::modeSyntax()), "MODE");
    const auto threadsOption = option("threads", QStringLiteral("Threads serving connections."), "N", QString::number(defaultThreads()));
    const auto headerBytesOption = option("max-header-bytes", QStringLiteral("Request line and header block; beyond: 414 or 431."), "BYTES", QString::number(defaults.headerBytes));
    const auto headerCountOption = option("max-headers", QStringLiteral("Header fields per request; beyond: 431."), "N", QString::number(defaults.headerCount));
    const auto bodyOption = option("max-body-bytes", QStringLiteral("Request body; beyond: 413."), "BYTES", QString::number(defaults.bodyBytes));
    const auto parametersOption = option("max-parameters", QStringLiteral("Query parameters per request; beyond: 400."), "N", QString::number(defaults.queryParameters));
    const auto headerTimeoutOption = option("header-timeout", QStringLiteral("Seconds to receive a whole request once it began."), "SECONDS", QString::number(defaults.headerTimeout.count() / 1000));
    const auto idleTimeoutOption = option("idle-timeout", QStringLiteral("Seconds a kept-alive connection may wait for its next request."), "SECONDS", QString::number(defaults.idleTimeout.count() / 1000));
    const auto connectionsOption = option("max-connections", QStringLiteral("Open connections; beyond, the longest-idle one is closed for a newcomer."), "N", QString::number(defaults.connections));
    const auto perAddressOption = option("max-connections-per-address", QStringLiteral("Open connections from one client address; beyond, new ones are closed at once."), "N", QString::number(defaults.connectionsPerAddress));
    const auto backlogOption = option("max-log-backlog-bytes", QStringLiteral("Requests waiting to be logged while the log cannot keep up; beyond, their lines are lost and counted."), "BYTES", QString::number(defaults.logBacklogBytes));
    const auto unsentOption = option("max-unsent-bytes", QStringLiteral("Reply bytes held for clients that do not read them, all together; beyond, the slowest reader is closed."), "BYTES", QString::number(defaults.unsentBytes));

    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("version"))) {
        *error = parser.isSet(QStringLiteral("help")) ? parser.helpText()
                                                       : QStringLiteral("velmora-adserver %1\n").arg(QStringLiteral(VELMORA_VERSION));
        if (exitEarly)
            *exitEarly = true;
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument: %1").arg(parser.positionalArguments().first());
        return false;
    }

    // Each check reads its option's text into `number`, or names what it wants.
    double number = 0;
    auto check = [&](const QCommandLineOption &checked, bool valid, const QString &wanted) {
        if (!valid)
            *error = QStringLiteral("--%1 wants %2, not \"%3\"").arg(checked.names().first(), wanted, parser.value(checked));
        return valid;
    };
    auto whole = [&](const QCommandLineOption &checked, double minimum, double maximum) {
        return check(checked, parseWhole(parser.value(checked), minimum, maximum, &number),
                     QStringLiteral("a whole number from %1 to %2").arg(minimum).arg(maximum));
    };
    auto seconds = [&](const QCommandLineOption &checked, double minimum, std::chrono::milliseconds *out) {
        const bool valid = check(checked, parseNumber(parser.value(checked), minimum, 86400, &number),
                                 QStringLiteral("seconds from %1 to 86400").arg(minimum));
        *out = std::chrono::milliseconds(qint64(std::ceil(number * 1000)));
        return valid;
    };

    if (!whole(portOption, 0, 65535))
        return false;
    port = quint16(number);
    if (!check(bindOption, bindAddress.setAddress(parser.value(bindOption)), QStringLiteral("an IP address")))
        return false;
    static const QRegularExpression hostName(QStringLiteral("^(?:[A-Za-z0-9.\\-]+|\\[[0-9A-Fa-f:.]+\\])$"));
    publicHost = parser.value(publicHostOption);
    if (!check(publicHostOption, publicHost.isEmpty() || hostName.match(publicHost).hasMatch(), QStringLiteral("a host name or address")))
        return false;

    if (!whole(publicPortOption, 0, 65535))
        return false;
    publicPort = quint16(number);
    if (!whole(adminPortOption, 0, 65535))
        return false;
    // Servers started on a free port (tests, benches) must not collide on the admin one.
    adminPort = port == 0 && !parser.isSet(adminPortOption) ? 0 : quint16(number);
    if (!check(adminBindOption, adminBindAddress.setAddress(parser.value(adminBindOption)), QStringLiteral("an IP address")))
        return false;

    units = parser.value(unitsOption).split(QLatin1Char(','), Qt::SkipEmptyParts);
    if (!check(unitsOption, !units.isEmpty(), QStringLiteral("at least one ad unit")))
        return false;
    for (QString &unit : units) {
        unit = unit.trimmed();
        if (!isWellFormedUnit(unit)) {
            *error = QStringLiteral("--units: \"%1\" is not an ad unit (\"a\" and 14 lowercase hex digits)").arg(unit);
            return false;
        }
    }

    const bool refreshValid = parseNumber(parser.value(refreshOption), 0, 86400, &refreshSeconds)
        && (refreshSeconds == 0 || refreshSeconds >= 1);
    if (!check(refreshOption, refreshValid, QStringLiteral("seconds from 1 to 86400, or 0 for no refresh")))
        return false;
    if (!check(fillOption, parseNumber(parser.value(fillOption), 0, 1, &fillRate), QStringLiteral("a number from 0 to 1")))
        return false;
    if (!whole(recentOption, 0, 100000))
        return false;
    recentCount = int(number);
    if (!whole(retentionOption, 0, 36500))
        return false;
    logRetentionDays = int(number);
    if (!whole(vendorOption, 0, 65535))
        return false;
    vendorId = int(number);
    eraseIdentifier = parser.value(eraseOption);
    if (!check(eraseOption, !parser.isSet(eraseOption) || eraseIdentifier.size() >= minimumErasedLength,
               QStringLiteral("an identifier of at least %1 characters").arg(minimumErasedLength)))
        return false;
    if (!seconds(statsOption, 0, &statsInterval))
        return false;

    if (!whole(threadsOption, 1, 256))
        return false;
    threads = int(number);
    const QList<std::pair<const QCommandLineOption *, std::size_t *>> sizes{
        {&headerBytesOption, &limits.headerBytes}, {&headerCountOption, &limits.headerCount}, {&bodyOption, &limits.bodyBytes},
        {&parametersOption, &limits.queryParameters}, {&connectionsOption, &limits.connections},
        {&perAddressOption, &limits.connectionsPerAddress}, {&unsentOption, &limits.unsentBytes},
        {&backlogOption, &limits.logBacklogBytes}};
    for (const auto &[sizeOption, size] : sizes) {
        if (!whole(*sizeOption, 1, 1 << 30))
            return false;
        *size = std::size_t(number);
    }
    if (!seconds(headerTimeoutOption, 0.001, &limits.headerTimeout) || !seconds(idleTimeoutOption, 0.001, &limits.idleTimeout))
        return false;

    wwwDir = parser.isSet(wwwOption) ? parser.value(wwwOption) : defaultWwwDir();
    if (eraseIdentifier.isEmpty() && !QFileInfo(wwwDir + QStringLiteral("/tiskos/sdk-core-v40.js")).isFile()) {
        *error = QStringLiteral("--www: \"%1\" holds no core script (tiskos/sdk-core-v40.js)").arg(wwwDir);
        return false;
    }
    logFile = parser.value(logOption);
    store = parser.isSet(databaseOption) ? parser.value(databaseOption) : logFile.isEmpty() ? QString() : defaultDatabaseFile(logFile);

    faults = parser.values(faultOption);
    for (const QString &fault : std::as_const(faults)) {
        if (!FaultInjector::isValidMode(fault)) {
            *error = QStringLiteral("--fault: unknown mode \"%1\"; modes are %2").arg(fault, FaultInjector::modeSyntax());
            return false;
        }
    }
    return true;
}
