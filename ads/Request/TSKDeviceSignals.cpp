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

// The stand-ins below report no signal and keep nothing.
bool TSKDeviceSignals::clickSignal(const QString &, QString &)
{
    return false;
}

void TSKDeviceSignals::touchSignals(int, int, int)
{
}

void TSKDeviceSignals::requestTypeAndVersion(int, const QString &)
{
}
