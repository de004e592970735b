#include "Request/TSKDeviceSignals.h"

#include <utility>

namespace {

TSKDeviceSignals::SpamSignalSource &installedSpamSignalSource()
{
    static TSKDeviceSignals::SpamSignalSource source;
    return source;
}

}  // namespace

void TSKDeviceSignals::setSpamSignalSource(SpamSignalSource source)
{
    installedSpamSignalSource() = std::move(source);
}

bool TSKDeviceSignals::spamSignal(QString &signal)
{
    const SpamSignalSource &source = installedSpamSignalSource();
    return source && source(signal);
}
