#pragma once

#include "Statistics/TSKStatisticsCore.h"
#include "Timing/TSKTimingManager.h"

#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <memory>

// What happened since the previous ad request: latencies, clicks, landing
// page navigations and a few yes/no events. The rest of the library reports
// events here; each ad request takes the parameters, which clears them.
// Counters and flags live in a TSKStatisticsCore, durations are timings; both
// survive restarts while kept across launches.
class TSKStatistics
{
public:
    // Created on first use.
    static TSKStatistics *sharedStatistics();
    // Destroys the shared object (saving it); the next use creates a new one.
    static void releaseSharedStatistics();

    // The timing names reported by parameters(), in order.
    static QStringList allTimingNames();

    TSKStatistics();
    ~TSKStatistics();
    TSKStatistics(const TSKStatistics &) = delete;
    TSKStatistics &operator=(const TSKStatistics &) = delete;

    void incrementAdRequestCount();
    void incrementClickCount();
    void incrementPageNavigationCount();
    void incrementSSLPageNavigationCount();
    void resetClickCount();
    void resetPageNavigationCount();
    void resetSSLPageNavigationCount();
    qint64 adRequestCount() const;
    void setAdRequestCount(qint64 count);

    void setClickBackgroundedApp();
    void resetClickBackgroundedApp();
    void setBreakOutToBrowser();
    void resetBreakOutToBrowser();
    void setAppOpenInterstitialTimeOut();
    void resetAppOpenInterstitialTimeOut();
    void setAppOpenInterstitialNoFill();
    void resetAppOpenInterstitialNoFill();
    void setFlagWithParameterName(const QString &name);
    void resetFlagWithParameterName(const QString &name);

    // Replaces any timing of the name with a new running one.
    void startTimingNamed(const QString &name);
    void endTimingNamed(const QString &name);
    TSKTiming *timingNamed(const QString &name) const;
    // A timing of the name exists and has not ended.
    bool isTimingActive(const QString &name) const;
    void removeTimingNamed(const QString &name);
    // True while the click timing runs.
    bool isTimingClick() const;

    // Keeps the impression ticket of a finished click-tracking request of
    // the ad network with the running click.
    void addClickTrackingURL(const QUrl &url);
    // Counts a click and starts its timings; returns the URL to open.
    QUrl urlForClick(const QUrl &url);

    // The statistics for the next ad request; clears all but "preqs" and "ptime".
    QVariantMap parameters();

    void synchronize();

    // Off forgets what earlier launches left and keeps the statistics of
    // this one in memory only; on keeps them across launches again.
    void setKeptAcrossLaunches(bool kept);

private:
    qint64 integerForKey(const QString &key) const;
    quint64 clickDurationMilliseconds() const;

    std::unique_ptr<TSKStatisticsCore> statistics_;
    std::unique_ptr<TSKTimingManager> timingMgr_;
};
