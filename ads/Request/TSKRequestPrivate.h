#pragma once

#include <VelmoraAds/TSKRequest.h>
#include "Utility/TSKLocation.h"

#include <memory>

namespace Velmora::Ads {
class PrivacyRules;
}

// The one concrete request. Its parameters() are the flat dictionary the ad
// server's script turns into an ad URL.
class TSKRequestPrivate final : public TSKRequest
{
public:
    TSKRequestPrivate() = default;
    // Takes over the targeting and the interstitial flag, sharing the keyword
    // list with the source; the request counter starts again at 0.
    explicit TSKRequestPrivate(const TSKRequestPrivate &request);

    // Every request is a TSKRequestPrivate.
    static TSKRequestPrivate *from(TSKRequest *request) { return static_cast<TSKRequestPrivate *>(request); }
    static const TSKRequestPrivate *from(const TSKRequest *request)
    {
        return static_cast<const TSKRequestPrivate *>(request);
    }

    // The ad server's type string: "tiskos" 4, "exchange" 5, "contextual" 1, else 0.
    static int requestTypeFromString(const QString &type);
    // Whether the running OS is at least major.minor.
    static bool deviceAtLeastMinimumOSMajorVersionMinorVersion(int major, int minor);

    std::unique_ptr<TSKRequest> copy() const override;

    bool isTesting() const override { return testing_; }
    void setTesting(bool testing) override { testing_ = testing; }
    std::optional<QVariantMap> additionalParameters() const override { return additionalParameters_; }
    void setAdditionalParameters(const std::optional<QVariantMap> &parameters) override;
    TSKGender gender() const override { return gender_; }
    void setGender(TSKGender gender) override { gender_ = gender; }
    QDateTime birthday() const override { return birthday_; }
    void setBirthday(const QDateTime &birthday) override { birthday_ = birthday; }
    std::optional<QStringList> keywords() const override;
    void setKeywords(const std::optional<QStringList> &keywords) override;
    const std::optional<TSKLocation> &location() const { return location_; }
    void setLocation(const std::optional<TSKLocation> &location) { location_ = location; }
    bool interstitialAd() const { return interstitialAd_; }
    void setInterstitialAd(bool interstitialAd) { interstitialAd_ = interstitialAd; }
    // The library-wide ad request count when the loader sent this request.
    qint64 counter() const { return counter_; }
    void setCounter(qint64 counter) { counter_ = counter; }

    void addKeyword(const QString &keyword) override;
    void setLocationWithDescription(const QString &description) override;
    void setLocationWithLatitudeLongitudeAccuracy(float latitude, float longitude, float accuracy) override;
    void setBirthdayWithMonthDayYear(int month, int day, int year) override;

    // "m", "f", or null.
    QString genderString() const;
    // "yyyyMMdd" in local time, or null.
    QString birthdayString() const;

    // Device facts, "js", "net", the targeting, the statistics (which taking
    // them clears), "preqs" and the consent signals; the identifier and what
    // describes the person as far as the privacy rules in force allow.
    QVariantMap parameters() const;
    // What parameters() gave when the loader last sent this request; empty
    // before that. An invalid-request error shows these rather than taking
    // the statistics again.
    const QVariantMap &sentParameters() const { return sentParameters_; }
    void setSentParameters(const QVariantMap &parameters) { sentParameters_ = parameters; }
    // At most one entry, from the device signals module.
    QVariantMap spamSignals() const;

    QString description() const override;

private:
    void addTargetingParameters(QVariantMap &parameters, const Velmora::Ads::PrivacyRules &rules) const;

    bool testing_ = false;
    std::optional<QVariantMap> additionalParameters_;
    TSKGender gender_ = TSKGender::Unknown;
    QDateTime birthday_;
    std::optional<TSKLocation> location_;
    // Shared between a request and its copies, so keywords added to one show in all.
    std::shared_ptr<QStringList> keywords_;
    bool interstitialAd_ = false;
    qint64 counter_ = 0;
    QVariantMap sentParameters_;
};
