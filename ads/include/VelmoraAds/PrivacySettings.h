#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QObject>
#include <QString>

#include <memory>

namespace Velmora::Ads {

class PrivacySettingsPrivate;

/// What the person using the program agreed to, for all of its ads. With no
/// signal at all the library treats consent as refused: no identifier,
/// location, gender or birthday is sent, nothing is kept on disk for ads and
/// nothing from earlier launches is sent. Every ad request made after a
/// change follows the new values; no restart is needed.
///
/// A consent tool may leave its signals where such tools keep them, under
/// the standard IAB keys in the program's default QSettings
/// (IABTCF_gdprApplies, IABTCF_TCString, IABTCF_PurposeConsents,
/// IABTCF_VendorConsents, IABTCF_SpecialFeaturesOptIns, IABGPP_HDR_GppString,
/// IABGPP_GppSID, IABUSPrivacy_String); they are read at each request. A
/// value set here wins over the stored key until it is reset.
///
/// One object per program, owned by the library; use it on the GUI thread.
/// Change signals fire for values set here, when the value really changed.
class VELMORAADS_EXPORT PrivacySettings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool gdprApplies READ gdprApplies WRITE setGdprApplies RESET resetGdprApplies NOTIFY gdprAppliesChanged)
    Q_PROPERTY(QString consentString READ consentString WRITE setConsentString RESET resetConsentString
                   NOTIFY consentStringChanged)
    Q_PROPERTY(QString gppString READ gppString WRITE setGppString RESET resetGppString NOTIFY gppStringChanged)
    Q_PROPERTY(QString gppSectionIds READ gppSectionIds WRITE setGppSectionIds RESET resetGppSectionIds
                   NOTIFY gppSectionIdsChanged)
    Q_PROPERTY(QString usPrivacyString READ usPrivacyString WRITE setUsPrivacyString RESET resetUsPrivacyString
                   NOTIFY usPrivacyStringChanged)
    Q_PROPERTY(bool childDirected READ isChildDirected WRITE setChildDirected NOTIFY childDirectedChanged)
    Q_PROPERTY(bool underAgeOfConsent READ isUnderAgeOfConsent WRITE setUnderAgeOfConsent
                   NOTIFY underAgeOfConsentChanged)
    Q_PROPERTY(bool personalisedAdsAllowed READ personalisedAdsAllowed WRITE setPersonalisedAdsAllowed
                   NOTIFY personalisedAdsAllowedChanged)
public:
    /// The program's one object, made on first use.
    static PrivacySettings *instance();

    ~PrivacySettings() override;

    /// Whether the GDPR applies to the person. When it does, the consent
    /// string decides; the program's own question does not.
    bool gdprApplies() const;
    void setGdprApplies(bool applies);
    void resetGdprApplies();

    /// A TCF v2 consent string; what it records is read from it unless a
    /// consent tool stored the flags beside it.
    QString consentString() const;
    void setConsentString(const QString &consent);
    void resetConsentString();

    /// GPP string and its section ids ("2_7"), sent as they are.
    QString gppString() const;
    void setGppString(const QString &gpp);
    void resetGppString();
    QString gppSectionIds() const;
    void setGppSectionIds(const QString &ids);
    void resetGppSectionIds();

    /// A US Privacy string ("1YYN"); a 'Y' as its third character is an opt-out.
    QString usPrivacyString() const;
    void setUsPrivacyString(const QString &usPrivacy);
    void resetUsPrivacyString();

    /// The program is meant for children: no identifier, location, gender or
    /// birthday is sent, nothing is kept, whatever else is set.
    bool isChildDirected() const;
    void setChildDirected(bool directed);
    /// The person is under the age of consent; the same effect.
    bool isUnderAgeOfConsent() const;
    void setUnderAgeOfConsent(bool under);

    /// The program's own answer, for programs without a consent tool and
    /// people the GDPR does not cover. False until the program says yes.
    bool personalisedAdsAllowed() const;
    void setPersonalisedAdsAllowed(bool allowed);

public Q_SLOTS:
    /// Draws a new identifier at once, or only forgets the old one while
    /// none may be sent.
    void resetIdentifier();

Q_SIGNALS:
    void gdprAppliesChanged(bool applies);
    void consentStringChanged(const QString &consent);
    void gppStringChanged(const QString &gpp);
    void gppSectionIdsChanged(const QString &ids);
    void usPrivacyStringChanged(const QString &usPrivacy);
    void childDirectedChanged(bool directed);
    void underAgeOfConsentChanged(bool under);
    void personalisedAdsAllowedChanged(bool allowed);

private:
    PrivacySettings();

    friend class PrivacySettingsPrivate;
    std::unique_ptr<PrivacySettingsPrivate> d;
};

}  // namespace Velmora::Ads
