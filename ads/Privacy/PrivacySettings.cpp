#include <VelmoraAds/PrivacySettings.h>

#include "Privacy/AdvertisingIdentifier.h"
#include "Privacy/PrivacySettingsPrivate.h"

namespace Velmora::Ads {

PrivacySettings *PrivacySettings::instance()
{
    static PrivacySettings *const settings = new PrivacySettings;
    return settings;
}

PrivacySettings::PrivacySettings() : d(std::make_unique<PrivacySettingsPrivate>(this))
{
}

PrivacySettings::~PrivacySettings() = default;

bool PrivacySettings::gdprApplies() const
{
    return d->consentSignals().gdprApplies;
}

void PrivacySettings::setGdprApplies(bool applies)
{
    d->change(d->gdprApplies, applies, &PrivacySettings::gdprApplies, &PrivacySettings::gdprAppliesChanged);
}

void PrivacySettings::resetGdprApplies()
{
    d->change(d->gdprApplies, std::nullopt, &PrivacySettings::gdprApplies, &PrivacySettings::gdprAppliesChanged);
}

QString PrivacySettings::consentString() const
{
    return d->consentSignals().consentString;
}

void PrivacySettings::setConsentString(const QString &consent)
{
    d->change(d->consentString, consent, &PrivacySettings::consentString, &PrivacySettings::consentStringChanged);
}

void PrivacySettings::resetConsentString()
{
    d->change(d->consentString, std::nullopt, &PrivacySettings::consentString, &PrivacySettings::consentStringChanged);
}

QString PrivacySettings::gppString() const
{
    return d->consentSignals().gppString;
}

void PrivacySettings::setGppString(const QString &gpp)
{
    d->change(d->gppString, gpp, &PrivacySettings::gppString, &PrivacySettings::gppStringChanged);
}

void PrivacySettings::resetGppString()
{
    d->change(d->gppString, std::nullopt, &PrivacySettings::gppString, &PrivacySettings::gppStringChanged);
}

QString PrivacySettings::gppSectionIds() const
{
    return d->consentSignals().gppSectionIds;
}

void PrivacySettings::setGppSectionIds(const QString &ids)
{
    d->change(d->gppSectionIds, ids, &PrivacySettings::gppSectionIds, &PrivacySettings::gppSectionIdsChanged);
}

void PrivacySettings::resetGppSectionIds()
{
    d->change(d->gppSectionIds, std::nullopt, &PrivacySettings::gppSectionIds, &PrivacySettings::gppSectionIdsChanged);
}

QString PrivacySettings::usPrivacyString() const
{
    return d->consentSignals().usPrivacy;
}

void PrivacySettings::setUsPrivacyString(const QString &usPrivacy)
{
    d->change(d->usPrivacyString, usPrivacy, &PrivacySettings::usPrivacyString, &PrivacySettings::usPrivacyStringChanged);
}

void PrivacySettings::resetUsPrivacyString()
{
    d->change(d->usPrivacyString, std::nullopt, &PrivacySettings::usPrivacyString,
              &PrivacySettings::usPrivacyStringChanged);
}

bool PrivacySettings::isChildDirected() const
{
    return d->childDirected;
}

void PrivacySettings::setChildDirected(bool directed)
{
    d->change(d->childDirected, directed, &PrivacySettings::isChildDirected, &PrivacySettings::childDirectedChanged);
}

bool PrivacySettings::isUnderAgeOfConsent() const
{
    return d->underAgeOfConsent;
}

void PrivacySettings::setUnderAgeOfConsent(bool under)
{
    d->change(d->underAgeOfConsent, under, &PrivacySettings::isUnderAgeOfConsent,
              &PrivacySettings::underAgeOfConsentChanged);
}

bool PrivacySettings::personalisedAdsAllowed() const
{
    return d->personalisedAdsAllowed;
}

void PrivacySettings::setPersonalisedAdsAllowed(bool allowed)
{
    d->change(d->personalisedAdsAllowed, allowed, &PrivacySettings::personalisedAdsAllowed,
              &PrivacySettings::personalisedAdsAllowedChanged);
}

void PrivacySettings::resetIdentifier()
{
    AdvertisingIdentifier &identifier = AdvertisingIdentifier::shared();
    if (PrivacySettingsPrivate::currentRules().maySendIdentifier())
        identifier.reset();
    else
        identifier.erase();
}

}  // namespace Velmora::Ads
