#include "Utility/TSKIdentifierUtilities.h"

#include "Device.h"
#include "MainBundle.h"
#include "Privacy/AdvertisingIdentifier.h"
#include "PropertyList.h"
#include "UserDefaults.h"
#include "Utility/TSKNumberUtilities.h"
#include "toolbox/TSKStringEncoding.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

using namespace Velmora::Platform;

TSKIdentifierUtilities *TSKIdentifierUtilities::sharedInstance()
{
    static TSKIdentifierUtilities *const instance = new TSKIdentifierUtilities;
    return instance;
}

bool TSKIdentifierUtilities::isJailbroken()
{
    return QFileInfo::exists(QStringLiteral("/Applications/Cydia.app"));
}

void TSKIdentifierUtilities::getOSMajorMinorBugFix(int *major, int *minor, int *bugFix)
{
    getVersionMajorMinorBugFix(Device::systemVersion(), major, minor, bugFix);
}

bool TSKIdentifierUtilities::isOSAtLeastMajorMinorBug(int major, int minor, int bug)
{
    return isVersionAtLeastMajorMinorBug(Device::systemVersion(), major, minor, bug);
}

void TSKIdentifierUtilities::getVersionMajorMinorBugFix(const QString &version, int *major, int *minor, int *bugFix)
{
    const QStringList components = version.split(QLatin1Char('.'));
    const auto leadingNumber = [&components](qsizetype index) {
        const QString component = components.value(index);
        qsizetype digits = 0;
        while (digits < component.size() && digits < 9 && component[digits].isDigit()
               && component[digits].unicode() < 128)
            ++digits;
        return component.left(digits).toInt();
    };
    if (major)
        *major = leadingNumber(0);
    if (minor)
        *minor = leadingNumber(1);
    if (bugFix)
        *bugFix = leadingNumber(2);
}

bool TSKIdentifierUtilities::isVersionAtLeastMajorMinorBug(const QString &version, int major, int minor, int bug)
{
    int haveMajor = 0, haveMinor = 0, haveBug = 0;
    getVersionMajorMinorBugFix(version, &haveMajor, &haveMinor, &haveBug);
    if (haveMajor != major)
        return haveMajor > major;
    if (haveMinor != minor)
        return haveMinor > minor;
    return haveBug >= bug;
}

QVariantMap TSKIdentifierUtilities::readITunesMetadataFileAt(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const std::optional<QVariant> contents = PropertyList::fromXml(file.readAll());
    if (!contents || contents->typeId() != QMetaType::QVariantMap)
        return {};
    return contents->toMap();
}

int TSKIdentifierUtilities::audioRouteForDescription(const std::optional<QString> &description)
{
    if (!description)
        return Speaker;
    if (description->isEmpty())
        return Silent;
    if (*description == QLatin1String("Headphone") || *description == QLatin1String("Headset"))
        return Headphones;
    if (*description == QLatin1String("Speaker"))
        return Speaker;
    return OtherRoute;
}

TSKIdentifierUtilities::TSKIdentifierUtilities()
    : isPhoneIdiom_(Device::userInterfaceIdiom() == Device::Idiom::Phone), isJailbroken_(isJailbroken())
{
}

bool TSKIdentifierUtilities::isPhoneIdiom() const
{
    return isPhoneIdiom_;
}

bool TSKIdentifierUtilities::isJailbrokenDevice() const
{
    return isJailbroken_;
}

QString TSKIdentifierUtilities::deviceModel() const
{
    return Device::model();
}

QString TSKIdentifierUtilities::deviceSubmodel()
{
    if (deviceSubmodel_.isNull())
        deviceSubmodel_ = Device::machine();
    return deviceSubmodel_;
}

QString TSKIdentifierUtilities::osVersion() const
{
    return Device::systemVersion();
}

float TSKIdentifierUtilities::screenDensity() const
{
    return float(Device::screenScale());
}

QSizeF TSKIdentifierUtilities::screenSize() const
{
    return Device::screenSize();
}

bool TSKIdentifierUtilities::isOrientationLandscape() const
{
    const Device::Orientation orientation = Device::statusBarOrientation();
    return orientation == Device::Orientation::LandscapeLeft || orientation == Device::Orientation::LandscapeRight;
}

int TSKIdentifierUtilities::audioRoute() const
{
    return audioRouteForDescription(Device::audioRoute());
}

// Retried on each call until the preference exists.
QString TSKIdentifierUtilities::locale()
{
    if (locale_.isNull()) {
        const QVariantList languages = UserDefaults::standard().arrayForKey(UserDefaults::PreferredLanguagesKey);
        if (!languages.isEmpty() && languages.first().typeId() == QMetaType::QString)
            locale_ = languages.first().toString().toLower();
    }
    return locale_;
}

// The metadata file sits in the application's home, beside its documents.
QVariantMap TSKIdentifierUtilities::iTunesMetadata()
{
    if (!iTunesMetadata_) {
        iTunesMetadata_.emplace();
        const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
        if (!documents.isEmpty())
            iTunesMetadata_ = readITunesMetadataFileAt(
                QDir::cleanPath(documents + QStringLiteral("/../iTunesMetadata.plist")));
    }
    return *iTunesMetadata_;
}

// Not cached: a reset must show in the next request.
QString TSKIdentifierUtilities::deviceIdentifier()
{
    return QString::fromLatin1(Velmora::Ads::AdvertisingIdentifier::shared().bytes().toHex().toUpper());
}

QString TSKIdentifierUtilities::deviceIdentifierBase64()
{
    TSKStringEncoding encoding = TSKStringEncoding::rfc4648Base64WebsafeStringEncoding();
    encoding.setDoPad(false);
    return encoding.encode(Velmora::Ads::AdvertisingIdentifier::shared().bytes());
}

QVariantMap TSKIdentifierUtilities::parameters()
{
    const int route = audioRoute();
    const bool landscape = isOrientationLandscape();
    QVariantMap parameters;
    if (deviceModel() == QLatin1String("iPad") && isPhoneIdiom())
        parameters.insert(QStringLiteral("ios_ipadc"), QStringLiteral("1"));
    parameters.insert(QStringLiteral("ios_metadata"), iTunesMetadata());
    parameters.insert(QStringLiteral("app_name"), appName());
    if (isJailbrokenDevice())
        parameters.insert(QStringLiteral("ios_jb"), QStringLiteral("1"));
    const auto insertIfSet = [&parameters](const QString &key, const QString &value) {
        if (!value.isNull())
            parameters.insert(key, value);
    };
    insertIfSet(QStringLiteral("platform"), deviceModel());
    insertIfSet(QStringLiteral("submodel"), deviceSubmodel());
    insertIfSet(QStringLiteral("hl"), locale());
    parameters.insert(QStringLiteral("u_audio"), QString::number(route));
    parameters.insert(QStringLiteral("u_so"), landscape ? QStringLiteral("l") : QStringLiteral("p"));
    parameters.insert(QStringLiteral("u_sd"), TSKNumberUtilities::stringWithFloat(screenDensity()));
    const QSizeF size = screenSize();
    parameters.insert(QStringLiteral("u_w"), TSKNumberUtilities::stringWithFloat(float(size.width())));
    parameters.insert(QStringLiteral("u_h"), TSKNumberUtilities::stringWithFloat(float(size.height())));
    return parameters;
}

// "<version>.iphone.<identifier>", or without the version piece when there is none.
QString TSKIdentifierUtilities::appName()
{
    const QString version = MainBundle::version();
    const QString identifier = QStringLiteral("iphone.%1").arg(MainBundle::identifier());
    return version.isNull() ? identifier : version + QLatin1Char('.') + identifier;
}
