#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>

namespace Velmora::Platform {
class Reachability;
}

// The device's connection type, kept current from reachability notifications
// about the ad network's host; the ad request sends it as "net".
class TSKNetworkChecker : public QObject
{
    Q_OBJECT
public:
    enum NetworkType { Unknown = 0, NotReachable = 1, LocalNetwork = 2, Cellular = 3 };

    // Created and enabled on first use; lives for the process.
    static TSKNetworkChecker *sharedChecker();

    explicit TSKNetworkChecker(QObject *parent = nullptr);
    ~TSKNetworkChecker() override;

    bool isEnabled() const;
    void setEnabled(bool enabled);

    int networkType() const;
    // "wi" or "ed" when reachable, null otherwise.
    QString networkTypeString() const;
    // Reachability notifications received since creation.
    unsigned changeCount() const;

    void startNetworkChecking();
    void stopNetworkChecking();

public slots:
    void setNetworkTypeFromFlags(uint32_t flags);

private:
    std::unique_ptr<Velmora::Platform::Reachability> networkRef_;
    int networkType_ = Unknown;
    unsigned changeCount_ = 0;
};
