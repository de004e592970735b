#pragma once

#include "Privacy/ConsentString.h"

#include <QString>
#include <QVariantMap>

namespace Velmora::Ads {

// Everything known about the person's choices when a request is made.
struct ConsentSignals
{
    bool gdprApplies = false;
    QString consentString;
    // What the consent string records; empty flags consent to nothing.
    ConsentBits consent;
    QString gppString;
    QString gppSectionIds;
    QString usPrivacy;
    bool childDirected = false;
    bool underAgeOfConsent = false;
    // The program's own question, for when the GDPR does not apply.
    bool personalisedAdsAllowed = false;
};

// What may be kept on the device and sent with a request, decided from the
// signals alone. Nothing is allowed unless a signal allows it.
class PrivacyRules
{
public:
    // A vendor id of 0 or less asks for no vendor's consent bit.
    PrivacyRules(const ConsentSignals &given, int networkVendorId);

    // Identifier, cookies on disk, statistics across launches.
    bool mayStoreOnDevice() const { return mayStore_; }
    // Identifier, gender, birthday.
    bool mayPersonalise() const { return mayPersonalise_; }
    bool maySendLocation() const { return maySendLocation_; }
    bool maySendIdentifier() const { return maySendIdentifier_; }

    // The signals themselves, which every request carries whatever they allow.
    const QVariantMap &signalParameters() const { return signalParameters_; }

private:
    void decideUnderGdpr(const ConsentSignals &given, int networkVendorId);
    static bool isUsOptOut(const QString &usPrivacy);
    static QVariantMap signalParametersOf(const ConsentSignals &given, bool personalised);

    bool mayStore_ = false;
    bool mayPersonalise_ = false;
    bool maySendLocation_ = false;
    bool maySendIdentifier_ = false;
    QVariantMap signalParameters_;
};

}  // namespace Velmora::Ads
