// Compiled into every program that links the ad library. A Qt Quick program
// names nothing of the library in C++, and a linker that drops unused
// libraries would leave it out; the QML plugin would then load it after the
// application object, too late to prepare the web engine and its schemes.
#include <VelmoraAds/BannerAd.h>

namespace {

[[maybe_unused]] const QMetaObject *const velmoraAdsBannerType = &Velmora::Ads::BannerAd::staticMetaObject;

}  // namespace
