#include "privacy/ConsentFilter.h"

#include "Privacy/ConsentString.h"

#include <QString>

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array personalNames{"cust_age", "cust_gender", "isu", "uloc"};

// Set unless absent or "0": anything else a client sends counts as the stricter reading.
bool flagSet(const ConsentFilter::Parameters &parameters, const char *name)
{
    const auto found = parameters.find(name);
    return found != parameters.end() && found->second != "0";
}

// "1YYN": version, notice, opt-out, agreement; anything else is read as an opt-out.
bool usOptOut(const ConsentFilter::Parameters &parameters)
{
    const auto found = parameters.find("us_privacy");
    if (found == parameters.end())
        return false;
    const std::string &text = found->second;
    return text.size() != 4 || text[2] == 'Y' || text[2] == 'y';
}

bool consented(const QString &bits, int id)
{
    return id >= 1 && id <= bits.size() && bits[id - 1] == QLatin1Char('1');
}

}  // namespace

ConsentFilter::ConsentFilter(int vendorId)
    : vendorId_(vendorId)
{
}

std::vector<std::string> ConsentFilter::withhold(Parameters &parameters)
{
    // Most requests carry nothing personal: no consent string to read for them.
    const bool personal = std::any_of(personalNames.begin(), personalNames.end(),
                                      [&parameters](const char *name) { return parameters.contains(name); });
    if (!personal)
        return {};
    const Allowed allowed = this->allowed(parameters);
    std::vector<std::string> withheld;
    for (const char *name : personalNames) {
        const bool kept = allowed.personal && (allowed.location || std::string_view(name) != "uloc");
        const auto found = parameters.find(name);
        if (!kept && found != parameters.end()) {
            withheld.emplace_back(name);
            parameters.erase(found);
        }
    }
    return withheld;
}

ConsentFilter::Allowed ConsentFilter::allowed(const Parameters &parameters)
{
    if (flagSet(parameters, "npa") || flagSet(parameters, "coppa") || flagSet(parameters, "tfua") || usOptOut(parameters))
        return {false, false};
    if (!flagSet(parameters, "gdpr"))
        return {};
    const auto consent = parameters.find("gdpr_consent");
    return consent == parameters.end() ? Allowed{false, false} : allowedByConsentString(consent->second);
}

ConsentFilter::Allowed ConsentFilter::allowedByConsentString(const std::string &text)
{
    if (remembered_ && text == lastConsent_)
        return lastAllowed_;
    Allowed allowed{false, false};
    if (const auto bits = Velmora::Ads::ConsentString::decode(QString::fromUtf8(text))) {
        // Purpose 1 (storing on the device), 3 and 4 (a personalised ad).
        allowed.personal = consented(bits->purposeConsents, 1) && consented(bits->purposeConsents, 3)
            && consented(bits->purposeConsents, 4) && (vendorId_ == 0 || consented(bits->vendorConsents, vendorId_));
        allowed.location = allowed.personal && consented(bits->specialFeatureOptIns, 1);
    }
    lastConsent_ = text;
    lastAllowed_ = allowed;
    remembered_ = true;
    return allowed;
}
