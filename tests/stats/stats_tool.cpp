// One launch of a program using the ad statistics, over the standard user
// defaults of the given home, so tests can show what survives a restart.
//   stats_tool <home> <action>...
// Actions, in order: request (counts an ad request and keeps time since the
// first), click <url>, track <url>, backgrounded, navigate, secure-navigate,
// start <name>, end <name>, params (prints the request parameters as a
// property list on one line), sync, crash (leaves without saving anything).
#include "PropertyList.h"
#include "Statistics/TSKStatistics.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QTextStream>

#include <cstdlib>

namespace {

void request(TSKStatistics *statistics)
{
    statistics->incrementAdRequestCount();
    if (!statistics->timingNamed(QStringLiteral("ptime")))
        statistics->startTimingNamed(QStringLiteral("ptime"));
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    qputenv("HOME", argv[1]);
    qputenv("XDG_CONFIG_HOME", QByteArray(argv[1]) + "/.config");
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("stats_tool"));
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    QTextStream out(stdout);

    const QStringList args = app.arguments().mid(2);
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &action = args[i];
        const QString argument = args.value(i + 1);
        if (action == QLatin1String("request")) {
            request(statistics);
        } else if (action == QLatin1String("click")) {
            out << statistics->urlForClick(QUrl(argument)).toString() << '\n';
            ++i;
        } else if (action == QLatin1String("track")) {
            statistics->addClickTrackingURL(QUrl(argument));
            ++i;
        } else if (action == QLatin1String("backgrounded")) {
            statistics->setClickBackgroundedApp();
        } else if (action == QLatin1String("navigate")) {
            statistics->incrementPageNavigationCount();
        } else if (action == QLatin1String("secure-navigate")) {
            statistics->incrementSSLPageNavigationCount();
        } else if (action == QLatin1String("start")) {
            statistics->startTimingNamed(argument);
            ++i;
        } else if (action == QLatin1String("end")) {
            statistics->endTimingNamed(argument);
            ++i;
        } else if (action == QLatin1String("params")) {
            out << PropertyList::toXml(statistics->parameters(), PropertyList::Form::Fragment) << '\n';
        } else if (action == QLatin1String("sync")) {
            statistics->synchronize();
        } else if (action == QLatin1String("crash")) {
            out.flush();
            std::_Exit(0);
        } else {
            return 2;
        }
    }
    out.flush();
    TSKStatistics::releaseSharedStatistics();
    return 0;
}
