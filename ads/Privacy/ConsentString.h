#pragma once

#include <QString>
#include <QStringView>

#include <optional>

namespace Velmora::Ads {

// What a TCF v2 consent string records, in the form consent tools keep beside
// it: one character per id, '1' where id (index + 1) is consented.
struct ConsentBits
{
    QString purposeConsents;
    QString vendorConsents;
    QString specialFeatureOptIns;
};

// Reads the core segment of a TCF v2 consent string. The string comes from a
// consent tool or, on the ad server, from any client, so nothing in it is
// trusted: anything that is not a well-formed version 2 core segment, or is
// longer than kMaximumLength, reads as no consent at all.
class ConsentString
{
public:
    static constexpr qsizetype kMaximumLength = 64 * 1024;

    static std::optional<ConsentBits> decode(QStringView text);
};

}  // namespace Velmora::Ads
