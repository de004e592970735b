#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QCommandLineOption>
#include <QList>
#include <QString>

class QCommandLineParser;

/// Where the ad network lives, and which vendor it is in consent strings.
/// Every host defaults to the house ad server on 127.0.0.1:8470, the vendor
/// id to none; an environment variable overrides the default and a
/// command-line option overrides both:
///
///   value                        option               environment
///   static content host          --static-host        VELMORA_STATIC_HOST
///   ad server host               --ad-host            VELMORA_AD_HOST
///   reachability host            --reachability-host  VELMORA_REACHABILITY_HOST
///   click-tracking domain suffix --click-domain       VELMORA_CLICK_DOMAIN
///   vendor id in consent strings --vendor-id          VELMORA_VENDOR_ID
///
/// Hosts are "name[:port]". The reachability host and the click-tracking
/// suffix default to the ad server's host name, so moving the ad server moves
/// them too. Without a vendor id, personalised ads under the GDPR need the
/// consent string's purposes only; with one, that vendor's consent too.
class VELMORAADS_EXPORT TSKNetworkConfiguration
{
public:
    static QString staticContentHost();
    static QString adServerHost();
    static QString reachabilityHost();
    static QString clickTrackingDomainSuffix();
    /// 0 when none is configured.
    static int vendorId();

    /// For the program's own command-line parser.
    static QList<QCommandLineOption> commandLineOptions();
    static void applyCommandLine(const QCommandLineParser &parser);

    /// Sets a value as a command-line option would; a null string forgets it.
    static void setStaticContentHost(const QString &host);
    static void setAdServerHost(const QString &host);
    static void setReachabilityHost(const QString &host);
    static void setClickTrackingDomainSuffix(const QString &suffix);
    /// 0 or less forgets it.
    static void setVendorId(int id);
};
