#pragma once

#include <QSizeF>
#include <QString>
#include <QVariantMap>

#include <optional>

// Describes the device and the hosting application to the ad server. Values
// that cannot change are read once per process; orientation, screen, audio
// route and OS version are read on every call. The identifier is the
// program's own (Privacy/AdvertisingIdentifier) and goes only where the
// privacy rules allow, so parameters() leaves it out.
class TSKIdentifierUtilities
{
public:
    enum AudioRoute { Speaker = 1, Headphones = 2, Silent = 3, OtherRoute = 5 };

    // Created on first use, never destroyed.
    static TSKIdentifierUtilities *sharedInstance();

    static bool isJailbroken();
    // Fills the components that are asked for from the OS version.
    static void getOSMajorMinorBugFix(int *major, int *minor, int *bugFix);
    static bool isOSAtLeastMajorMinorBug(int major, int minor, int bug);
    // The same for any version text: leading digits of each dot-separated
    // component, 0 for missing or non-numeric ones.
    static void getVersionMajorMinorBugFix(const QString &version, int *major, int *minor, int *bugFix);
    static bool isVersionAtLeastMajorMinorBug(const QString &version, int major, int minor, int bug);
    // The property list at the path when it is a dictionary, else empty.
    static QVariantMap readITunesMetadataFileAt(const QString &path);
    // The route code of an audio output description; none readable is the speaker.
    static int audioRouteForDescription(const std::optional<QString> &description);

    TSKIdentifierUtilities();

    bool isPhoneIdiom() const;
    bool isJailbrokenDevice() const;
    QString deviceModel() const;
    QString deviceSubmodel();
    QString osVersion() const;
    float screenDensity() const;
    QSizeF screenSize() const;
    bool isOrientationLandscape() const;
    int audioRoute() const;
    QString locale();
    QVariantMap iTunesMetadata();
    // The program's identifier as 32 upper-case hex digits, and as 22
    // characters of web-safe base 64; made when there is none.
    static QString deviceIdentifier();
    static QString deviceIdentifierBase64();

    QVariantMap parameters();

private:
    static QString appName();

    bool isPhoneIdiom_ = true;
    std::optional<QVariantMap> iTunesMetadata_;
    bool isJailbroken_ = false;
    QString deviceSubmodel_;
    QString locale_;
};
