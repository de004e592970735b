#pragma once

#include <VelmoraAds/PrivacySettings.h>

#include "Privacy/PrivacyRules.h"

#include <memory>
#include <optional>

class QSettings;

namespace Velmora::Ads {

// The values a program set, over the keys a consent tool stored; and the one
// place where the rules reach what the device keeps for ads.
class PrivacySettingsPrivate
{
public:
    explicit PrivacySettingsPrivate(PrivacySettings *q);
    ~PrivacySettingsPrivate();

    // The rules for the signals in force now, applied at once to what the
    // device keeps: the identifier, the request connection's cookies and the
    // statistics of earlier launches. Every request starts with this.
    static PrivacyRules enforce();
    static PrivacyRules currentRules();

    ConsentSignals consentSignals() const;

    // Sets a value and signals when the value in force changed.
    template <typename Field, typename Value, typename Read, typename Changed>
    void change(Field &field, Value value, Read read, Changed changed)
    {
        const auto before = (q_->*read)();
        field = std::move(value);
        const auto after = (q_->*read)();
        if (after != before)
            Q_EMIT(q_->*changed)(after);
        enforceSoon();
    }

    std::optional<bool> gdprApplies;
    std::optional<QString> consentString;
    std::optional<QString> gppString;
    std::optional<QString> gppSectionIds;
    std::optional<QString> usPrivacyString;
    bool childDirected = false;
    bool underAgeOfConsent = false;
    bool personalisedAdsAllowed = false;

private:
    // Once the program's burst of changes is over: one that sets its values
    // one by one must not lose its identifier to a refusal half-way through.
    void enforceSoon();
    static bool storedFlag(const QSettings &stored, const QString &key);
    static QString storedString(const QSettings &stored, const QString &key);
    static ConsentBits storedConsent(const QSettings &stored, const QString &consentString);

    // The keys a consent tool stored. One object for the program's life:
    // what any other in the process writes shows in it at once, and asking
    // it costs no look at the disk.
    const QSettings &storedKeys() const;

    PrivacySettings *q_;
    bool enforcementPending_ = false;
    mutable std::unique_ptr<QSettings> storedKeys_;
};

}  // namespace Velmora::Ads
