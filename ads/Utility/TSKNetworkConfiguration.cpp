#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QCommandLineParser>
#include <QUrl>

#include <algorithm>

namespace {

const QString HouseAdServer = QStringLiteral("127.0.0.1:8470");

struct Setting
{
    const char *option;
    const char *environment;
    const char *description;
    const char *valueName;
    QString commandLineValue;
};

enum Which { StaticContent, AdServer, ReachabilityHost, ClickDomain, VendorId, SettingCount };

Setting *settings()
{
    static Setting all[SettingCount] = {
        {"static-host", "VELMORA_STATIC_HOST", "Ad network static content host[:port].", "host", {}},
        {"ad-host", "VELMORA_AD_HOST", "Ad server host[:port].", "host", {}},
        {"reachability-host", "VELMORA_REACHABILITY_HOST", "Host whose reachability gives the network type.", "host", {}},
        {"click-domain", "VELMORA_CLICK_DOMAIN", "Domain suffix of click-tracking hosts.", "host", {}},
        {"vendor-id", "VELMORA_VENDOR_ID", "The ad network's vendor id in consent strings.", "id", {}},
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

int TSKNetworkConfiguration::vendorId()
{
    return std::max(0, configured(VendorId, QString()).toInt());
}

QList<QCommandLineOption> TSKNetworkConfiguration::commandLineOptions()
{
    QList<QCommandLineOption> options;
    for (int i = 0; i < SettingCount; ++i) {
        const Setting &setting = settings()[i];
        options.append(QCommandLineOption(QString::fromLatin1(setting.option),
                                          QString::fromLatin1(setting.description) + QStringLiteral(" Overrides ")
                                              + QString::fromLatin1(setting.environment) + QLatin1Char('.'),
                                          QString::fromLatin1(setting.valueName)));
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

void TSKNetworkConfiguration::setVendorId(int id)
{
    settings()[VendorId].commandLineValue = id > 0 ? QString::number(id) : QString();
}
