#include "Statistics/TSKStatistics.h"

#include "Notification/TSKNotification.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKNetworkUtilities.h"

#include <QDateTime>

#include <cmath>

namespace {

const QString SharedIdentifier = QStringLiteral("shared");

const QString RequestLatency = QStringLiteral("prl");
const QString ClickLatency = QStringLiteral("pcl");
const QString ClickIdentifier = QStringLiteral("pai");
const QString PreClickLatency = QStringLiteral("ppcl");
const QString ClickRedirectLatency = QStringLiteral("pcrl");
const QString LandingPageLoad = QStringLiteral("plpl");
const QString LandingPageDuration = QStringLiteral("plpd");
const QString TimeSinceFirstRequest = QStringLiteral("ptime");
const QString ImpressionTicket = QStringLiteral("pit");

const QString AdRequests = QStringLiteral("preqs");
const QString Clicks = QStringLiteral("pcc");
const QString PageNavigations = QStringLiteral("plpnc");
const QString SecurePageNavigations = QStringLiteral("plpsnc");
const QString ClickBackgroundedApp = QStringLiteral("pclb");
const QString BreakOutToBrowser = QStringLiteral("pcbo");
const QString AppOpenTimedOut = QStringLiteral("aoi_timedout");
const QString AppOpenNoFill = QStringLiteral("aoi_nofill");

const QString ClickDateKey = QStringLiteral("date");

// The domain itself or one of its subdomains, never a host that merely ends alike.
bool isInDomain(const QString &host, const QString &domain)
{
    return host.compare(domain, Qt::CaseInsensitive) == 0
        || host.endsWith(QLatin1Char('.') + domain, Qt::CaseInsensitive);
}

TSKStatistics *&sharedInstance()
{
    static TSKStatistics *instance = nullptr;
    return instance;
}

}  // namespace

TSKStatistics *TSKStatistics::sharedStatistics()
{
    TSKStatistics *&instance = sharedInstance();
    if (!instance)
        instance = new TSKStatistics;
    return instance;
}

void TSKStatistics::releaseSharedStatistics()
{
    TSKStatistics *&instance = sharedInstance();
    delete instance;
    instance = nullptr;
}

QStringList TSKStatistics::allTimingNames()
{
    return {RequestLatency, ClickLatency,        ClickIdentifier,     PreClickLatency,
            ClickRedirectLatency, LandingPageLoad, LandingPageDuration, TimeSinceFirstRequest};
}

TSKStatistics::TSKStatistics()
    : statistics_(std::make_unique<TSKStatisticsCore>(SharedIdentifier)),
      timingMgr_(std::make_unique<TSKTimingManager>(SharedIdentifier))
{
}

TSKStatistics::~TSKStatistics() = default;

void TSKStatistics::incrementAdRequestCount()
{
    statistics_->addValueNumberForKey(1, AdRequests);
}

void TSKStatistics::incrementClickCount()
{
    statistics_->addValueNumberForKey(1, Clicks);
}

void TSKStatistics::incrementPageNavigationCount()
{
    statistics_->addValueNumberForKey(1, PageNavigations);
}

void TSKStatistics::incrementSSLPageNavigationCount()
{
    statistics_->addValueNumberForKey(1, SecurePageNavigations);
}

void TSKStatistics::resetClickCount()
{
    statistics_->setNumberForKey(qint64(0), Clicks);
}

void TSKStatistics::resetPageNavigationCount()
{
    statistics_->setNumberForKey(qint64(0), PageNavigations);
}

void TSKStatistics::resetSSLPageNavigationCount()
{
    statistics_->setNumberForKey(qint64(0), SecurePageNavigations);
}

qint64 TSKStatistics::adRequestCount() const
{
    return integerForKey(AdRequests);
}

void TSKStatistics::setAdRequestCount(qint64 count)
{
    statistics_->setNumberForKey(count, AdRequests);
}

void TSKStatistics::setClickBackgroundedApp()
{
    setFlagWithParameterName(ClickBackgroundedApp);
}

void TSKStatistics::resetClickBackgroundedApp()
{
    resetFlagWithParameterName(ClickBackgroundedApp);
}

void TSKStatistics::setBreakOutToBrowser()
{
    setFlagWithParameterName(BreakOutToBrowser);
}

void TSKStatistics::resetBreakOutToBrowser()
{
    resetFlagWithParameterName(BreakOutToBrowser);
}

void TSKStatistics::setAppOpenInterstitialTimeOut()
{
    setFlagWithParameterName(AppOpenTimedOut);
}

void TSKStatistics::resetAppOpenInterstitialTimeOut()
{
    resetFlagWithParameterName(AppOpenTimedOut);
}

void TSKStatistics::setAppOpenInterstitialNoFill()
{
    setFlagWithParameterName(AppOpenNoFill);
}

void TSKStatistics::resetAppOpenInterstitialNoFill()
{
    resetFlagWithParameterName(AppOpenNoFill);
}

void TSKStatistics::setFlagWithParameterName(const QString &name)
{
    statistics_->setNumberForKey(qint64(1), name);
}

void TSKStatistics::resetFlagWithParameterName(const QString &name)
{
    statistics_->removeObjectForKey(name);
}

void TSKStatistics::startTimingNamed(const QString &name)
{
    timingMgr_->removeTimingForCategory(name);
    if (TSKTiming *timing = timingMgr_->addTimingWithCategory(name))
        timing->start();
}

void TSKStatistics::endTimingNamed(const QString &name)
{
    if (TSKTiming *timing = timingMgr_->timingForCategory(name))
        timing->end();
}

TSKTiming *TSKStatistics::timingNamed(const QString &name) const
{
    return timingMgr_->timingForCategory(name);
}

void TSKStatistics::removeTimingNamed(const QString &name)
{
    timingMgr_->removeTimingForCategory(name);
}

bool TSKStatistics::isTimingClick() const
{
    const TSKTiming *click = timingNamed(ClickLatency);
    return click && click->isActive();
}

void TSKStatistics::addClickTrackingURL(const QUrl &url)
{
    if (!isInDomain(url.host(), TSKNetworkConfiguration::clickTrackingDomainSuffix()))
        return;
    const QString path = url.path();
    if (path.size() < 5)
        return;
    if (TSKTiming *click = timingNamed(ClickLatency))
        click->setValueForKey(path.mid(4), ImpressionTicket);
}

bool TSKStatistics::isTimingActive(const QString &name) const
{
    const TSKTiming *timing = timingNamed(name);
    return timing && timing->isActive();
}

QUrl TSKStatistics::urlForClick(const QUrl &url)
{
    if (TSKNotification::isNotificationURL(url) || url.toString() == QLatin1String("about:blank"))
        return url;
    incrementClickCount();
    startTimingNamed(ClickLatency);
    startTimingNamed(ClickRedirectLatency);
    endTimingNamed(PreClickLatency);
    TSKTiming *click = timingNamed(ClickLatency);
    click->setValueForKey(QDateTime::currentDateTimeUtc(), ClickDateKey);
    // The device signals module reports no click signal, so the URL itself
    // stays as it is; only the click identifier is kept.
    const QString clickIdentifier = TSKNetworkUtilities::parameterValueForKeyFromURL(QStringLiteral("ai"), url);
    if (!clickIdentifier.isEmpty())
        click->setValueForKey(clickIdentifier, ClickIdentifier);
    endTimingNamed(ClickRedirectLatency);
    return url;
}

QVariantMap TSKStatistics::parameters()
{
    if (!timingNamed(ClickLatency))
        removeTimingNamed(PreClickLatency);
    const quint64 clickDuration = clickDurationMilliseconds();
    if (TSKTiming *click = timingNamed(ClickLatency))
        click->removeValueForKey(ClickDateKey);

    QVariantMap parameters;
    for (const QString &name : allTimingNames()) {
        const TSKTiming *timing = timingNamed(name);
        if (!timing)
            continue;
        parameters.insert(name, timing->elapsedMillisecondsString());
        parameters.insert(timing->keysAndValues());
        if (name != TimeSinceFirstRequest)
            removeTimingNamed(name);
    }
    if (clickDuration != 0)
        parameters.insert(ClickLatency, qint64(clickDuration));

    for (const QString &key : {AdRequests, BreakOutToBrowser, AppOpenTimedOut, AppOpenNoFill, ClickBackgroundedApp,
                               PageNavigations, SecurePageNavigations, Clicks}) {
        if (integerForKey(key) != 0)
            parameters.insert(key, statistics_->numberForKey(key));
    }
    for (const QString &flag : {BreakOutToBrowser, AppOpenTimedOut, AppOpenNoFill, ClickBackgroundedApp})
        resetFlagWithParameterName(flag);
    resetPageNavigationCount();
    resetSSLPageNavigationCount();
    resetClickCount();
    return parameters;
}

void TSKStatistics::synchronize()
{
    statistics_->synchronize();
    timingMgr_->synchronize();
}

void TSKStatistics::setKeptAcrossLaunches(bool kept)
{
    statistics_->setPersistent(kept);
    timingMgr_->setPersistent(kept);
}

qint64 TSKStatistics::integerForKey(const QString &key) const
{
    return TSKStatisticsCore::integerValue(statistics_->numberForKey(key));
}

// How long ago the click that left the application happened, whichever way
// the clock was set since.
quint64 TSKStatistics::clickDurationMilliseconds() const
{
    if (!statistics_->numberForKey(ClickBackgroundedApp).isValid())
        return 0;
    const TSKTiming *click = timingNamed(ClickLatency);
    const QDateTime date = click ? click->valueForKey(ClickDateKey).toDateTime() : QDateTime();
    if (!date.isValid())
        return 0;
    const double seconds = std::fabs(QDateTime::currentDateTimeUtc().msecsTo(date) / 1000.0);
    return static_cast<quint64>(seconds * 1000.0);
}
