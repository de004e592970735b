// One launch of a program using the ad statistics over the user defaults of
// <home>, so tests can show what survives a restart. "params" prints the
// request parameters as a one-line property list; "crash" leaves unsaved.
//   stats_tool <home> request|click <url>|backgrounded|navigate|params|sync|crash...
#include "PropertyList.h"
#include "Statistics/TSKStatistics.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QTextStream>

#include <cstdlib>

using namespace Velmora::Platform;

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
        if (action == QLatin1String("request")) {
            statistics->incrementAdRequestCount();
            if (!statistics->timingNamed(QStringLiteral("ptime")))  // time since the first request
                statistics->startTimingNamed(QStringLiteral("ptime"));
        } else if (action == QLatin1String("click")) {
            statistics->urlForClick(QUrl(args.value(++i)));
        } else if (action == QLatin1String("backgrounded")) {
            statistics->setClickBackgroundedApp();
        } else if (action == QLatin1String("navigate")) {
            statistics->incrementPageNavigationCount();
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
