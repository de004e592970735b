#include "PrivacyChoice.h"

#include "UserDefaults.h"

#include <VelmoraAds/PrivacySettings.h>

using namespace Velmora::Platform;

namespace {

const QString ChoiceKey = QStringLiteral("PersonalisedAds");

}  // namespace

std::optional<bool> PrivacyChoice::stored()
{
    const QVariant answer = UserDefaults::standard().objectForKey(ChoiceKey);
    if (answer.typeId() != QMetaType::Bool)
        return std::nullopt;
    return answer.toBool();
}

void PrivacyChoice::store(bool personalised)
{
    UserDefaults &defaults = UserDefaults::standard();
    defaults.setObjectForKey(personalised, ChoiceKey);
    defaults.synchronize();
    apply(personalised);
}

void PrivacyChoice::apply(bool personalised)
{
    Velmora::Ads::PrivacySettings::instance()->setPersonalisedAdsAllowed(personalised);
}
