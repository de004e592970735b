#include "Network/TSKNetworkChecker.h"

#include "Reachability.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>

using namespace Velmora::Platform;

TSKNetworkChecker *TSKNetworkChecker::sharedChecker()
{
    static TSKNetworkChecker *const checker = [] {
        auto *created = new TSKNetworkChecker;
        created->setEnabled(true);
        return created;
    }();
    return checker;
}

TSKNetworkChecker::TSKNetworkChecker(QObject *parent) : QObject(parent) {}

TSKNetworkChecker::~TSKNetworkChecker()
{
    stopNetworkChecking();
}

bool TSKNetworkChecker::isEnabled() const
{
    return networkRef_ != nullptr;
}

void TSKNetworkChecker::setEnabled(bool enabled)
{
    if (enabled == isEnabled())
        return;
    if (enabled)
        startNetworkChecking();
    else
        stopNetworkChecking();
}

int TSKNetworkChecker::networkType() const
{
    return networkType_;
}

QString TSKNetworkChecker::networkTypeString() const
{
    switch (networkType_) {
    case LocalNetwork:
        return QStringLiteral("wi");
    case Cellular:
        return QStringLiteral("ed");
    default:
        return {};
    }
}

unsigned TSKNetworkChecker::changeCount() const
{
    return changeCount_;
}

void TSKNetworkChecker::startNetworkChecking()
{
    networkType_ = Unknown;
    if (networkRef_)
        return;
    networkRef_ = std::make_unique<Reachability>(TSKNetworkConfiguration::reachabilityHost());
    connect(networkRef_.get(), &Reachability::flagsChanged, this, &TSKNetworkChecker::setNetworkTypeFromFlags);
    networkRef_->start();
}

void TSKNetworkChecker::stopNetworkChecking()
{
    if (!networkRef_)
        return;
    networkRef_->stop();
    networkRef_.reset();
    networkType_ = Unknown;
}

// Only the reachable and cellular bits matter; connection-required and
// transient states are deliberately not looked at.
void TSKNetworkChecker::setNetworkTypeFromFlags(uint32_t flags)
{
    ++changeCount_;
    if (!(flags & Reachability::Reachable))
        networkType_ = NotReachable;
    else
        networkType_ = (flags & Reachability::IsWWAN) ? Cellular : LocalNetwork;
}
