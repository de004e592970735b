#include "Privacy/PrivacySettingsPrivate.h"

#include "PersistentCookieJar.h"
#include "Privacy/AdvertisingIdentifier.h"
#include "Privacy/ConsentString.h"
#include "Statistics/TSKStatistics.h"
#include "URLConnection.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QNetworkAccessManager>
#include <QSettings>

using namespace Velmora::Platform;

namespace Velmora::Ads {
namespace {

const QString GdprAppliesKey = QStringLiteral("IABTCF_gdprApplies");
const QString ConsentStringKey = QStringLiteral("IABTCF_TCString");
const QString PurposeConsentsKey = QStringLiteral("IABTCF_PurposeConsents");
const QString VendorConsentsKey = QStringLiteral("IABTCF_VendorConsents");
const QString SpecialFeaturesKey = QStringLiteral("IABTCF_SpecialFeaturesOptIns");
const QString GppStringKey = QStringLiteral("IABGPP_HDR_GppString");
const QString GppSectionIdsKey = QStringLiteral("IABGPP_GppSID");
const QString UsPrivacyKey = QStringLiteral("IABUSPrivacy_String");

}  // namespace

PrivacySettingsPrivate::PrivacySettingsPrivate(PrivacySettings *q) : q_(q)
{
}

PrivacySettingsPrivate::~PrivacySettingsPrivate() = default;

PrivacyRules PrivacySettingsPrivate::enforce()
{
    const PrivacyRules rules = currentRules();
    if (!rules.maySendIdentifier())
        AdvertisingIdentifier::shared().erase();
    if (auto *jar = qobject_cast<PersistentCookieJar *>(URLConnection::sharedManager()->cookieJar()))
        jar->setKeptOnDisk(rules.mayStoreOnDevice());
    TSKStatistics::sharedStatistics()->setKeptAcrossLaunches(rules.mayStoreOnDevice());
    return rules;
}

PrivacyRules PrivacySettingsPrivate::currentRules()
{
    return PrivacyRules(PrivacySettings::instance()->d->consentSignals(), TSKNetworkConfiguration::vendorId());
}

ConsentSignals PrivacySettingsPrivate::consentSignals() const
{
    const QSettings &stored = storedKeys();
    ConsentSignals given;
    given.gdprApplies = gdprApplies.value_or(storedFlag(stored, GdprAppliesKey));
    if (consentString) {
        given.consentString = *consentString;
        given.consent = ConsentString::decode(*consentString).value_or(ConsentBits());
    } else {
        given.consentString = storedString(stored, ConsentStringKey);
        given.consent = storedConsent(stored, given.consentString);
    }
    given.gppString = gppString.value_or(storedString(stored, GppStringKey));
    given.gppSectionIds = gppSectionIds.value_or(storedString(stored, GppSectionIdsKey));
    given.usPrivacy = usPrivacyString.value_or(storedString(stored, UsPrivacyKey));
    given.childDirected = childDirected;
    given.underAgeOfConsent = underAgeOfConsent;
    given.personalisedAdsAllowed = personalisedAdsAllowed;
    return given;
}

// Consent tools store 1 or 0, as a number or as text.
bool PrivacySettingsPrivate::storedFlag(const QSettings &stored, const QString &key)
{
    return stored.value(key).toInt() == 1;
}

QString PrivacySettingsPrivate::storedString(const QSettings &stored, const QString &key)
{
    return stored.value(key).toString();
}

// The flags a consent tool stored beside its string, else what the string records.
ConsentBits PrivacySettingsPrivate::storedConsent(const QSettings &stored, const QString &consentString)
{
    if (!stored.contains(PurposeConsentsKey) && !stored.contains(VendorConsentsKey)
        && !stored.contains(SpecialFeaturesKey))
        return ConsentString::decode(consentString).value_or(ConsentBits());
    return ConsentBits{storedString(stored, PurposeConsentsKey), storedString(stored, VendorConsentsKey),
                       storedString(stored, SpecialFeaturesKey)};
}

// Made on first use, when the program has named itself.
const QSettings &PrivacySettingsPrivate::storedKeys() const
{
    if (!storedKeys_)
        storedKeys_ = std::make_unique<QSettings>();
    return *storedKeys_;
}

void PrivacySettingsPrivate::enforceSoon()
{
    if (enforcementPending_)
        return;
    enforcementPending_ = true;
    QMetaObject::invokeMethod(
        q_,
        [this] {
            enforcementPending_ = false;
            enforce();
        },
        Qt::QueuedConnection);
}

}  // namespace Velmora::Ads
