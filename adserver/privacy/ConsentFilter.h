#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

// Decides from a request's own consent signals which of its personal
// parameters the server may keep, and drops the rest from what it records.
// Without consent (npa, coppa or tfua set, a US opt-out, or the GDPR applying
// without purposes 1, 3 and 4, and the house vendor when one is configured)
// no identifier, location, gender or birthday is kept; consent without special
// feature 1 keeps no location. A client may send anything: a malformed
// consent string is no consent. Not thread-safe: one per thread that records.
class ConsentFilter
{
public:
    // Decoded; a repeated name holds its last value, as the log shows it.
    using Parameters = std::map<std::string, std::string, std::less<>>;

    explicit ConsentFilter(int vendorId = 0);

    // Removes what may not be kept; returns the names removed, in order.
    std::vector<std::string> withhold(Parameters &parameters);

private:
    struct Allowed
    {
        bool personal = true;
        bool location = true;
    };

    Allowed allowed(const Parameters &parameters);
    Allowed allowedByConsentString(const std::string &text);

    int vendorId_;
    // Clients send the same string again and again: the last one read is remembered.
    std::string lastConsent_;
    Allowed lastAllowed_;
    bool remembered_ = false;
};
