// Any text: a consent string either reads as no consent or gives 24 purpose
// and 12 special feature flags and at most 65535 vendor flags, all '0' or '1';
// and whatever the flags, the rules allow nothing that needs more consent.
#include "Privacy/ConsentString.h"
#include "Privacy/PrivacyRules.h"

#include <cstdlib>

namespace {

bool isFlags(const QString &flags)
{
    for (const QChar c : flags) {
        if (c != QLatin1Char('0') && c != QLatin1Char('1'))
            return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromLatin1(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto bits = Velmora::Ads::ConsentString::decode(text);
    if (!bits)
        return 0;
    if (bits->purposeConsents.size() != 24 || bits->specialFeatureOptIns.size() != 12
        || bits->vendorConsents.size() > 65535 || !isFlags(bits->purposeConsents)
        || !isFlags(bits->specialFeatureOptIns) || !isFlags(bits->vendorConsents))
        std::abort();
    Velmora::Ads::ConsentSignals given;
    given.gdprApplies = true;
    given.consent = *bits;
    given.usPrivacy = text.left(4);
    const Velmora::Ads::PrivacyRules rules(given, int(size % 70000));
    if ((rules.maySendIdentifier() && !(rules.mayStoreOnDevice() && rules.mayPersonalise()))
        || (rules.maySendLocation() && !rules.mayPersonalise())
        || rules.signalParameters().value(QStringLiteral("npa")) != QVariant(QString::number(!rules.mayPersonalise())))
        std::abort();
    return 0;
}
