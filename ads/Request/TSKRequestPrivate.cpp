#include "Request/TSKRequestPrivate.h"

#include "Network/TSKNetworkChecker.h"
#include "Privacy/PrivacySettingsPrivate.h"
#include "Request/TSKDeviceSignals.h"
#include "Statistics/TSKStatistics.h"
#include "Utility/TSKIdentifierUtilities.h"
#include "Utility/TSKPropertyListDescription.h"

using Velmora::Ads::PrivacyRules;
using Velmora::Ads::PrivacySettingsPrivate;

TSKRequestPrivate::TSKRequestPrivate(const TSKRequestPrivate &request)
    : TSKRequest(),
      testing_(request.testing_),
      additionalParameters_(request.additionalParameters_),
      gender_(request.gender_),
      birthday_(request.birthday_),
      location_(request.location_),
      keywords_(request.keywords_),
      interstitialAd_(request.interstitialAd_)
{
}

std::unique_ptr<TSKRequest> TSKRequestPrivate::copy() const
{
    return std::make_unique<TSKRequestPrivate>(*this);
}

int TSKRequestPrivate::requestTypeFromString(const QString &type)
{
    if (type == QLatin1String("tiskos"))
        return 4;
    if (type == QLatin1String("exchange"))
        return 5;
    if (type == QLatin1String("contextual"))
        return 1;
    return 0;
}

bool TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(int major, int minor)
{
    int osMajor = 0;
    int osMinor = 0;
    TSKIdentifierUtilities::getOSMajorMinorBugFix(&osMajor, &osMinor, nullptr);
    return osMajor > major || (osMajor == major && osMinor >= minor);
}

void TSKRequestPrivate::setAdditionalParameters(const std::optional<QVariantMap> &parameters)
{
    additionalParameters_ = parameters;
}

std::optional<QStringList> TSKRequestPrivate::keywords() const
{
    if (!keywords_)
        return std::nullopt;
    return *keywords_;
}

void TSKRequestPrivate::setKeywords(const std::optional<QStringList> &keywords)
{
    keywords_ = keywords ? std::make_shared<QStringList>(*keywords) : nullptr;
}

void TSKRequestPrivate::addKeyword(const QString &keyword)
{
    if (keyword.isEmpty())
        return;
    if (!keywords_)
        keywords_ = std::make_shared<QStringList>();
    keywords_->append(keyword);
}

void TSKRequestPrivate::setLocationWithDescription(const QString &description)
{
    location_ = TSKLocation::locationWithDescription(description);
}

void TSKRequestPrivate::setLocationWithLatitudeLongitudeAccuracy(float latitude, float longitude, float accuracy)
{
    location_ = TSKLocation::locationWithLatitudeLongitudeAccuracy(latitude, longitude, accuracy);
}

void TSKRequestPrivate::setBirthdayWithMonthDayYear(int month, int day, int year)
{
    // Out-of-range months and days carry over, as calendar arithmetic does.
    const QDate date = QDate(year, 1, 1).addMonths(month - 1).addDays(day - 1);
    birthday_ = date.isValid() ? date.startOfDay() : QDateTime();
}

QString TSKRequestPrivate::genderString() const
{
    switch (gender_) {
    case TSKGender::Male:
        return QStringLiteral("m");
    case TSKGender::Female:
        return QStringLiteral("f");
    default:
        return QString();
    }
}

QString TSKRequestPrivate::birthdayString() const
{
    if (!birthday_.isValid())
        return QString();
    return birthday_.toLocalTime().toString(QStringLiteral("yyyyMMdd"));
}

// Later keys replace earlier ones: the request's own keys win over the
// device's, the statistics' over both, and the consent signals over all.
QVariantMap TSKRequestPrivate::parameters() const
{
    const PrivacyRules rules = PrivacySettingsPrivate::enforce();
    QVariantMap parameters = TSKIdentifierUtilities::sharedInstance()->parameters();
    if (rules.maySendIdentifier())
        parameters.insert(QStringLiteral("isu"), TSKIdentifierUtilities::deviceIdentifier());
    parameters.insert(QStringLiteral("js"), sdkVersion());
    if (const QString network = TSKNetworkChecker::sharedChecker()->networkTypeString(); !network.isNull())
        parameters.insert(QStringLiteral("net"), network);
    addTargetingParameters(parameters, rules);
    parameters.insert(TSKStatistics::sharedStatistics()->parameters());
    parameters.insert(QStringLiteral("preqs"), counter_);
    parameters.insert(rules.signalParameters());
    return parameters;
}

// Keywords and extras describe the placement and always go; what describes
// the person goes only with consent.
void TSKRequestPrivate::addTargetingParameters(QVariantMap &parameters, const PrivacyRules &rules) const
{
    if (testing_)
        parameters.insert(QStringLiteral("testing"), QStringLiteral("1"));
    if (additionalParameters_)
        parameters.insert(QStringLiteral("extras"), *additionalParameters_);
    if (const QString gender = genderString(); !gender.isNull() && rules.mayPersonalise())
        parameters.insert(QStringLiteral("cust_gender"), gender);
    // The server reads the birthday under the age key.
    if (const QString birthday = birthdayString(); !birthday.isNull() && rules.mayPersonalise())
        parameters.insert(QStringLiteral("cust_age"), birthday);
    if (keywords_)
        parameters.insert(QStringLiteral("kw"), QVariant(*keywords_).toList());
    if (location_ && rules.maySendLocation()) {
        if (const QString encoded = location_->encodedRepresentation(); !encoded.isNull())
            parameters.insert(QStringLiteral("uloc"), encoded);
    }
}

QVariantMap TSKRequestPrivate::spamSignals() const
{
    QString signal;
    if (!TSKDeviceSignals::spamSignal(signal))
        return {};
    const QStringList pieces = signal.split(QLatin1Char('='));
    if (pieces.size() < 2 || pieces.at(1).isEmpty())
        return {};
    return {{pieces.at(0), pieces.at(1)}};
}

QString TSKRequestPrivate::description() const
{
    QString text = QStringLiteral("TSKRequest<0x%1>: ").arg(quintptr(this), 0, 16);
    if (gender_ == TSKGender::Male)
        text += QStringLiteral("\ngender:Male");
    else if (gender_ == TSKGender::Female)
        text += QStringLiteral("\ngender:Female");
    if (birthday_.isValid())
        text += QStringLiteral("\nbirthday:") + TSKPropertyListDescription::describe(birthday_);
    if (location_)
        text += QStringLiteral("\nlocation:") + location_->description();
    if (keywords_)
        text += QStringLiteral("\nkeywords:") + TSKPropertyListDescription::describe(*keywords_);
    if (additionalParameters_)
        text += QStringLiteral("\nadditionalParameters:") + TSKPropertyListDescription::describe(*additionalParameters_);
    return text;
}
