#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QCommandLineParser>
#include <QUrl>

namespace {

const QString HouseAdServer = QStringLiteral("127.0.0.1:8470");

struct Setting
{
    const char *option;
    const char *environment;
    const char *description;
    QString commandLineValue;
};

enum Which { StaticContent, AdServer, ReachabilityHost, ClickDomain, SettingCount };

Setting *settings()
{
    static Setting all[SettingCount] = {
        {"static-host", "VELMORA_STATIC_HOST", "Ad network static content host[:port].", {}},
        {"ad-host", "VELMORA_AD_HOST", "Ad server host[:port].", {}},
        {"reachability-host", "VELMORA_REACHABILITY_HOST", "Host whose reachability gives the network type.", {}},
        {"click-domain", "VELMORA_CLICK_DOMAIN", "Domain suffix of click-tracking hosts.", {}},
    };
    return all;
}

QString configured(Which which, const QString &fallback)
{
    const Setting &setting = settings()[which];
    if (!setting.commandLineValue.isNull())
        return setting.commandLineValue;
    const QString environment = qEnvironmentVariable(setting.environment);
    return environment.isEmpty() ? fallback : environment;
}

QString hostName(const QString &hostAndPort)
{
    return QUrl(QStringLiteral("http://") + hostAndPort).host();
}

}  // namespace

QString TSKNetworkConfiguration::staticContentHost()
{
    return configured(StaticContent, HouseAdServer);
}

QString TSKNetworkConfiguration::adServerHost()
{
    return configured(AdServer, HouseAdServer);
}

QString TSKNetworkConfiguration::reachabilityHost()
{
    return configured(ReachabilityHost, hostName(adServerHost()));
}

QString TSKNetworkConfiguration::clickTrackingDomainSuffix()
{
    return configured(ClickDomain, hostName(adServerHost()));
}

QList<QCommandLineOption> TSKNetworkConfiguration::commandLineOptions()
{
    QList<QCommandLineOption> options;
    for (int i = 0; i < SettingCount; ++i) {
        const Setting &setting = settings()[i];
        options.append(QCommandLineOption(QString::fromLatin1(setting.option),
                                          QString::fromLatin1(setting.description) + QStringLiteral(" Overrides ")
                                              + QString::fromLatin1(setting.environment) + QLatin1Char('.'),
                                          QStringLiteral("host")));
    }
    return options;
}

void TSKNetworkConfiguration::applyCommandLine(const QCommandLineParser &parser)
{
    for (int i = 0; i < SettingCount; ++i) {
        Setting &setting = settings()[i];
        const QString option = QString::fromLatin1(setting.option);
        if (parser.isSet(option))
            setting.commandLineValue = parser.value(option);
    }
}

void TSKNetworkConfiguration::setStaticContentHost(const QString &host)
{
    settings()[StaticContent].commandLineValue = host;
}

void TSKNetworkConfiguration::setAdServerHost(const QString &host)
{
    settings()[AdServer].commandLineValue = host;
}

void TSKNetworkConfiguration::setReachabilityHost(const QString &host)
{
    settings()[ReachabilityHost].commandLineValue = host;
}

void TSKNetworkConfiguration::setClickTrackingDomainSuffix(const QString &suffix)
{
    settings()[ClickDomain].commandLineValue = suffix;
}
