// Stored timings: whatever a damaged store holds, loading skips what is not a
// timing, and every loaded timing answers and stores itself again.
#include "PropertyList.h"
#include "Timing/TSKTimingManager.h"

#include <cstdint>
#include <cstdlib>

using namespace Velmora::Platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QVariant> stored = PropertyList::fromXml(input);
    if (!stored)
        return 0;
    const auto timings = TSKTimingManager::timingsFromStoredForm(*stored);
    for (const auto &[key, timing] : timings) {
        (void)timing->isActive();
        (void)timing->elapsedMillisecondsString();
        const std::optional<TSKTiming> copy = TSKTiming::fromDictionaryRepresentation(timing->dictionaryRepresentation());
        if (!copy || copy->dictionaryRepresentation() != timing->dictionaryRepresentation())
            abort();
        if (!PropertyList::isPropertyListValue(timing->dictionaryRepresentation()))
            abort();
    }
    return 0;
}
