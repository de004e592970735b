#pragma once

#include <QNetworkInformation>
#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>

namespace Velmora::Platform {

// Whether a host can be reached, told as the phone's reachability flags.
// Once started, the first flagsChanged() carries the current state and comes
// on the next turn of the event loop; later ones come when the flags change.
class Reachability : public QObject
{
    Q_OBJECT
public:
    enum Flag : uint32_t { Reachable = 0x2, IsWWAN = 0x40000 };

    struct NetworkState
    {
        QNetworkInformation::Reachability reachability = QNetworkInformation::Reachability::Unknown;
        QNetworkInformation::TransportMedium medium = QNetworkInformation::TransportMedium::Unknown;
    };
    using StateSource = std::function<NetworkState()>;

    explicit Reachability(const QString &hostName, QObject *parent = nullptr);
    ~Reachability() override;

    // Replaces where the network state comes from (tests); an empty function
    // restores the system's network information.
    static void setStateSource(StateSource source);

    // Flags for a state: a loopback host is always reachable; an unknown
    // state counts as reachable, as most machines without a network
    // information service are online.
    static uint32_t flagsFor(const QString &hostName, const NetworkState &state);

    QString hostName() const;
    bool isStarted() const;
    uint32_t currentFlags() const;

    void start();
    void stop();

signals:
    void flagsChanged(uint32_t flags);

public slots:
    // Reads the state again and tells a change.
    void refresh();

private:
    void notifyFirst();

    QString hostName_;
    bool started_ = false;
    bool notified_ = false;
    uint32_t lastFlags_ = 0;
};

}  // namespace Velmora::Platform
