#include "Privacy/PrivacyRules.h"

namespace Velmora::Ads {
namespace {

constexpr int kStoreOnDevice = 1;
constexpr int kPersonalisedProfile = 3;
constexpr int kPersonalisedAds = 4;
constexpr int kPreciseLocation = 1;

// Flags as consent tools keep them: character (id - 1) is '1' when consented.
bool isSet(const QString &flags, int id)
{
    return id >= 1 && id <= flags.size() && flags.at(id - 1) == QLatin1Char('1');
}

QString flag(bool on)
{
    return on ? QStringLiteral("1") : QStringLiteral("0");
}

}  // namespace

PrivacyRules::PrivacyRules(const ConsentSignals &given, int networkVendorId)
{
    if (given.gdprApplies)
        decideUnderGdpr(given, networkVendorId);
    else
        mayStore_ = mayPersonalise_ = maySendLocation_ = given.personalisedAdsAllowed;
    // Whatever else is set: a child's ads are neither kept nor aimed.
    if (given.childDirected || given.underAgeOfConsent)
        mayStore_ = mayPersonalise_ = maySendLocation_ = false;
    maySendIdentifier_ = mayStore_ && mayPersonalise_ && !isUsOptOut(given.usPrivacy);
    signalParameters_ = signalParametersOf(given, mayPersonalise_);
}

void PrivacyRules::decideUnderGdpr(const ConsentSignals &given, int networkVendorId)
{
    const ConsentBits &consent = given.consent;
    mayStore_ = isSet(consent.purposeConsents, kStoreOnDevice);
    mayPersonalise_ = isSet(consent.purposeConsents, kPersonalisedProfile)
        && isSet(consent.purposeConsents, kPersonalisedAds)
        && (networkVendorId <= 0 || isSet(consent.vendorConsents, networkVendorId));
    maySendLocation_ = mayPersonalise_ && isSet(consent.specialFeatureOptIns, kPreciseLocation);
}

// The third character of a US Privacy string says whether the person opted out.
bool PrivacyRules::isUsOptOut(const QString &usPrivacy)
{
    return usPrivacy.size() >= 3 && usPrivacy.at(2).toUpper() == QLatin1Char('Y');
}

QVariantMap PrivacyRules::signalParametersOf(const ConsentSignals &given, bool personalised)
{
    QVariantMap parameters{{QStringLiteral("gdpr"), flag(given.gdprApplies)},
                           {QStringLiteral("coppa"), flag(given.childDirected)},
                           {QStringLiteral("tfua"), flag(given.underAgeOfConsent)},
                           {QStringLiteral("npa"), flag(!personalised)}};
    const auto insertIfSet = [&parameters](const char *key, const QString &value) {
        if (!value.isEmpty())
            parameters.insert(QString::fromLatin1(key), value);
    };
    insertIfSet("gdpr_consent", given.consentString);
    insertIfSet("gpp", given.gppString);
    insertIfSet("gpp_sid", given.gppSectionIds);
    insertIfSet("us_privacy", given.usPrivacy);
    return parameters;
}

}  // namespace Velmora::Ads
