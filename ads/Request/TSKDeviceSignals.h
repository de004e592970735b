#pragma once

#include <QString>

#include <functional>

// Entry points of the device signals module, which gathers device and usage
// signals for the ad server. The module is not part of this program: unless an
// implementation is installed, the entries report no signal.
namespace TSKDeviceSignals {

// Fills `signal` with "key=value" and answers whether it produced anything.
using SpamSignalSource = std::function<bool(QString &signal)>;

// An empty function restores the stand-in.
void setSpamSignalSource(SpamSignalSource source);

bool spamSignal(QString &signal);

}  // namespace TSKDeviceSignals
