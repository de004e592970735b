#include "Reachability.h"

#include <QHostAddress>
#include <QTimer>

namespace Velmora::Platform {

namespace {

Reachability::StateSource &installedSource()
{
    static Reachability::StateSource source;
    return source;
}

QNetworkInformation *systemInformation()
{
    static const bool loaded = QNetworkInformation::loadDefaultBackend();
    return loaded ? QNetworkInformation::instance() : nullptr;
}

Reachability::NetworkState currentState()
{
    if (const Reachability::StateSource &source = installedSource())
        return source();
    const QNetworkInformation *information = systemInformation();
    if (!information)
        return {};
    return {information->reachability(), information->transportMedium()};
}

bool isLoopback(const QString &hostName)
{
    const QHostAddress address(hostName);
    return hostName.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
        || (!address.isNull() && address.isLoopback());
}

}  // namespace

Reachability::Reachability(const QString &hostName, QObject *parent) : QObject(parent), hostName_(hostName) {}

Reachability::~Reachability() = default;

void Reachability::setStateSource(StateSource source)
{
    installedSource() = std::move(source);
}

uint32_t Reachability::flagsFor(const QString &hostName, const NetworkState &state)
{
    if (isLoopback(hostName))
        return Reachable;
    using R = QNetworkInformation::Reachability;
    const bool reachable = state.reachability == R::Online || state.reachability == R::Site
        || state.reachability == R::Unknown;
    if (!reachable)
        return 0;
    return state.medium == QNetworkInformation::TransportMedium::Cellular ? Reachable | IsWWAN : Reachable;
}

QString Reachability::hostName() const
{
    return hostName_;
}

bool Reachability::isStarted() const
{
    return started_;
}

uint32_t Reachability::currentFlags() const
{
    return flagsFor(hostName_, currentState());
}

void Reachability::start()
{
    if (started_)
        return;
    started_ = true;
    notified_ = false;
    if (QNetworkInformation *information = systemInformation()) {
        connect(information, &QNetworkInformation::reachabilityChanged, this, &Reachability::refresh);
        connect(information, &QNetworkInformation::transportMediumChanged, this, &Reachability::refresh);
    }
    QTimer::singleShot(0, this, &Reachability::notifyFirst);
}

void Reachability::stop()
{
    if (!started_)
        return;
    started_ = false;
    if (QNetworkInformation *information = systemInformation())
        disconnect(information, nullptr, this, nullptr);
}

void Reachability::refresh()
{
    if (!started_ || !notified_)
        return;
    const uint32_t flags = currentFlags();
    if (flags == lastFlags_)
        return;
    lastFlags_ = flags;
    emit flagsChanged(flags);
}

void Reachability::notifyFirst()
{
    // A stop (or a stop and start) since scheduling leaves this one unsent.
    if (!started_ || notified_)
        return;
    notified_ = true;
    lastFlags_ = currentFlags();
    emit flagsChanged(lastFlags_);
}

}  // namespace Velmora::Platform
