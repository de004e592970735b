#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QCommandLineOption>
#include <QList>
#include <QString>

class QCommandLineParser;

/// Where the ad network lives. Every value defaults to the house ad server on
/// 127.0.0.1:8470; an environment variable overrides the default and a
/// command-line option overrides both:
///
///   value                        option               environment
///   static content host          --static-host        VELMORA_STATIC_HOST
///   ad server host               --ad-host            VELMORA_AD_HOST
///   reachability host            --reachability-host  VELMORA_REACHABILITY_HOST
///   click-tracking domain suffix --click-domain       VELMORA_CLICK_DOMAIN
///
/// Hosts are "name[:port]". The reachability host and the click-tracking
/// suffix default to the ad server's host name, so moving the ad server moves
/// them too.
class VELMORAADS_EXPORT TSKNetworkConfiguration
{
public:
    static QString staticContentHost();
    static QString adServerHost();
    static QString reachabilityHost();
    static QString clickTrackingDomainSuffix();

    /// For the program's own command-line parser.
    static QList<QCommandLineOption> commandLineOptions();
    static void applyCommandLine(const QCommandLineParser &parser);

    /// Sets a value as a command-line option would; a null string forgets it.
    static void setStaticContentHost(const QString &host);
    static void setAdServerHost(const QString &host);
    static void setReachabilityHost(const QString &host);
    static void setClickTrackingDomainSuffix(const QString &suffix);
};
