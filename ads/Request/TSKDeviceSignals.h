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

// Fills `signal` for the click identified by `clickIdentifier`; answers whether it did.
bool clickSignal(const QString &clickIdentifier, QString &signal);
// Where and how long the ad was touched (-1 for what the page did not say).
void touchSignals(int x, int y, int duration);
// The ad server's request type and the library version of the ad being fetched.
void requestTypeAndVersion(int requestType, const QString &version);

}  // namespace TSKDeviceSignals
