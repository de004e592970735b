#include "GameOptions.h"

#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <climits>
#include <cmath>

namespace {

// What QGuiApplication and QApplication take out of the command line themselves.
const QStringList kQtOptionsWithValue{"platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry",
                                      "qwindowicon", "qwindowtitle", "session", "display", "geometry", "style", "stylesheet"};
const QStringList kQtFlags{"reverse", "widgetcount"};
const QString kWebEngineArguments = QStringLiteral("--webEngineArgs");

QStringList withoutQtArguments(const QStringList &arguments)
{
    QStringList kept = arguments.mid(0, 1);
    for (int i = 1; i < arguments.size() && arguments[i] != kWebEngineArguments; ++i) {
        const QString &argument = arguments[i];
        const QString name = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1).section(u'=', 0, 0);
        if (argument.startsWith(u'-') && kQtFlags.contains(name))
            continue;
        if (argument.startsWith(u'-') && kQtOptionsWithValue.contains(name)) {
            i += argument.contains(u'=') ? 0 : 1;
            continue;
        }
        kept << argument;
    }
    return kept;
}

std::optional<double> number(const QString &text, double minimum, double maximum)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

std::optional<int> wholeNumber(const QString &text, int minimum, int maximum)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

}  // namespace

GameOptions::Outcome GameOptions::parse(const QStringList &arguments)
{
    const QString program = arguments.isEmpty() ? QStringLiteral("velmora") : QFileInfo(arguments.first()).fileName();
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Velmora, a touch arcade game: drag your ball and dodge the yellow ones.\n"
                       "Qt's own options (-platform, -style, ...) are passed on to Qt, and arguments after\n"
                       "--webEngineArgs to the web engine."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help and quit."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Show the version and quit."));
    const QCommandLineOption scale(
        QStringLiteral("scale"),
        QStringLiteral("Window scale, a whole number from 1 to %1. Default: the largest that fits the desktop.")
            .arg(kMaximumScale),
        QStringLiteral("N"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save a PNG of every screen into DIR and quit (needs no display)."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption autoplay(QStringLiteral("autoplay"), QStringLiteral("Let a bot play N rounds, then quit."),
                                      QStringLiteral("N"));
    const QCommandLineOption roundLimit(
        QStringLiteral("round-limit"),
        QStringLiteral("Seconds after which the bot ends its round. Default: %1.").arg(kDefaultRoundLimitSeconds),
        QStringLiteral("SECONDS"));
    const QCommandLineOption privacy(
        QStringLiteral("privacy"),
        QStringLiteral("Answer the privacy question for this run: personalised or non-personalised ads."),
        QStringLiteral("CHOICE"));
    parser.addOptions({help, version, scale, screenshot, autoplay, roundLimit, privacy});
    parser.addOptions(TSKNetworkConfiguration::commandLineOptions());

    if (!parser.parse(withoutQtArguments(arguments)))
        return fail(parser.errorText());
    if (parser.isSet(help)) {
        text_ = parser.helpText().replace(QLatin1String("<executable_name>"), program);
        return Outcome::Exit;
    }
    if (parser.isSet(version)) {
        text_ = QStringLiteral("%1 %2\n").arg(program, QCoreApplication::applicationVersion());
        return Outcome::Exit;
    }
    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().first()));

    auto wrongValue = [&](const QCommandLineOption &option, const QString &wanted) {
        return fail(QStringLiteral("--%1 wants %2, not \"%3\"").arg(option.names().first(), wanted, parser.value(option)));
    };
    if (parser.isSet(scale) && !(scale_ = wholeNumber(parser.value(scale), 1, kMaximumScale)))
        return wrongValue(scale, QStringLiteral("a whole number from 1 to %1").arg(kMaximumScale));
    if (parser.isSet(screenshot) && (screenshotDirectory_ = parser.value(screenshot)).isEmpty())
        return wrongValue(screenshot, QStringLiteral("a directory"));
    if (parser.isSet(autoplay) && !(autoplayRounds_ = wholeNumber(parser.value(autoplay), 0, INT_MAX)))
        return wrongValue(autoplay, QStringLiteral("a number of rounds, 0 or more"));
    if (parser.isSet(roundLimit)) {
        const std::optional<double> seconds = number(parser.value(roundLimit), 0, 1e9);
        if (!seconds)
            return wrongValue(roundLimit, QStringLiteral("a number of seconds, 0 or more"));
        roundLimitSeconds_ = *seconds;
    }
    if (parser.isSet(privacy)) {
        const QString choice = parser.value(privacy);
        if (choice != QLatin1String("personalised") && choice != QLatin1String("non-personalised"))
            return wrongValue(privacy, QStringLiteral("personalised or non-personalised"));
        personalisedAds_ = choice == QLatin1String("personalised");
    }
    TSKNetworkConfiguration::applyCommandLine(parser);
    return Outcome::Play;
}

GameOptions::Outcome GameOptions::fail(const QString &message)
{
    text_ = message;
    return Outcome::Fail;
}
