#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <optional>

enum class TSKGender { Unknown = 0, Male = 1, Female = 2 };

/// What a publisher tells the ad server about the user and the placement.
/// Make one with request(); the banner sends its own copy, so a request can
/// be changed and reused.
class VELMORAADS_EXPORT TSKRequest
{
public:
    static std::unique_ptr<TSKRequest> request();
    /// "tiskos-sdk-i-v4.0.2".
    static QString sdkVersion();

    virtual ~TSKRequest() = default;
    TSKRequest(const TSKRequest &) = delete;
    TSKRequest &operator=(const TSKRequest &) = delete;

    /// A new request with the same targeting.
    virtual std::unique_ptr<TSKRequest> copy() const = 0;

    virtual bool isTesting() const = 0;
    virtual void setTesting(bool testing) = 0;
    /// Sent whole, as one nested object.
    virtual std::optional<QVariantMap> additionalParameters() const = 0;
    virtual void setAdditionalParameters(const std::optional<QVariantMap> &parameters) = 0;
    virtual TSKGender gender() const = 0;
    virtual void setGender(TSKGender gender) = 0;
    /// Invalid when unknown.
    virtual QDateTime birthday() const = 0;
    virtual void setBirthday(const QDateTime &birthday) = 0;
    virtual std::optional<QStringList> keywords() const = 0;
    virtual void setKeywords(const std::optional<QStringList> &keywords) = 0;

    /// Empty keywords are ignored.
    virtual void addKeyword(const QString &keyword) = 0;
    /// An empty description clears the location; so do imprecise coordinates.
    virtual void setLocationWithDescription(const QString &description) = 0;
    virtual void setLocationWithLatitudeLongitudeAccuracy(float latitude, float longitude, float accuracy) = 0;
    /// Lenient like a calendar: month 13 is January of the next year.
    virtual void setBirthdayWithMonthDayYear(int month, int day, int year) = 0;

    virtual QString description() const = 0;

protected:
    TSKRequest() = default;
};
