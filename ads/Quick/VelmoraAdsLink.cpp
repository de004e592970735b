// Compiled into every program that links the ad library. A Qt Quick program
// names nothing of the library in C++, and a linker that drops unused
// libraries would leave it out; the QML plugin would then load it after the
// application object, too late to prepare the web engine and its schemes.
// A static library has no plugin: its items are registered here.
#include <VelmoraAds/BannerAd.h>
#include <VelmoraAds/PrivacySettings.h>

#include <QCoreApplication>
#include <QJSEngine>
#include <QtQml/qqml.h>

namespace {

[[maybe_unused]] const QMetaObject *const velmoraAdsBannerType = &Velmora::Ads::BannerAd::staticMetaObject;

#ifdef VELMORA_ADS_STATIC
void registerVelmoraAdsModule()
{
    qmlRegisterType<Velmora::Ads::BannerAd>("Velmora.Ads", 1, 0, "BannerAd");
    qmlRegisterSingletonType<Velmora::Ads::PrivacySettings>(
        "Velmora.Ads", 1, 0, "PrivacySettings", [](QQmlEngine *, QJSEngine *) {
            auto *settings = Velmora::Ads::PrivacySettings::instance();
            QJSEngine::setObjectOwnership(settings, QJSEngine::CppOwnership);
            return settings;
        });
}
#endif

}  // namespace

#ifdef VELMORA_ADS_STATIC
Q_COREAPP_STARTUP_FUNCTION(registerVelmoraAdsModule)
#endif
