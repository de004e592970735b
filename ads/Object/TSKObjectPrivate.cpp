#include "Object/TSKObjectPrivate.h"

#include "Application.h"
#include "DelayedPerform.h"
#include "Delegate/TSKDelegateManager.h"
#include "Network/TSKCachedFile.h"
#include "Network/TSKClickTracker.h"
#include "Notification/TSKNotificationCenter.h"
#include "Privacy/PrivacySettingsPrivate.h"
#include "Request/TSKDeviceSignals.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Request/TSKRequestPrivate.h"
#include "Statistics/TSKStatistics.h"
#include "Statistics/TSKStatisticsCore.h"
#include "Timer.h"
#include "URLConnection.h"
#include "Utility/TSKIdentifierUtilities.h"
#include "Utility/TSKMacros.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>
#include "Utility/TSKNetworkUtilities.h"
#include "Utility/TSKPropertyListDescription.h"
#include "RendererWatch.h"
#include "View/TSKBannerWebViewDelegate.h"
#include "View/TSKBuildAdWebViewDelegate.h"
#include "View/TSKVisibilityTracker.h"
#include "ViewController/TSKFullScreen.h"
#include "WebView.h"

#include <QDateTime>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

using namespace Velmora::Platform;

namespace {

const QString kLoadAdURL = QStringLiteral("loadAdURL");
const QString kInvalidRequest = QStringLiteral("invalidRequest");
const QString kUnableToServe = QStringLiteral("unableToServe");
const QString kExpireDateKey = QStringLiteral("expireDate");
constexpr int kCoreScriptLifetimeSeconds = 86400;
constexpr int kBadRequestStatus = 400;

bool didAppFinishLaunching = false;

QUrl coreScriptURL()
{
    return QUrl(QStringLiteral("http://%1/tiskos/sdk-core-v40.js").arg(TSKNetworkConfiguration::staticContentHost()));
}

QUrl adServerBaseURL()
{
    return QUrl(QStringLiteral("http://%1").arg(TSKNetworkConfiguration::adServerHost()));
}

QString headerValue(const QVariantMap &headers, QStringView name)
{
    for (auto it = headers.begin(); it != headers.end(); ++it) {
        if (it.key().compare(name, Qt::CaseInsensitive) == 0)
            return it.value().toString();
    }
    return {};
}

void logLine(const QString &line)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(line));
}

}  // namespace

TSKObjectPrivate::TSKObjectPrivate(QWidget *adView)
    : adView_(adView), delegateManager_(std::make_shared<TSKDelegateManager>())
{
    observeLaunchOnce();
    createWebView();
    webViewDelegate_ = std::make_unique<TSKBannerWebViewDelegate>(this);
    observeNotifications();
    if (adView) {
        visibility_ = std::make_unique<TSKVisibilityTracker>(adView);
        connect(visibility_.get(), &TSKVisibilityTracker::seenChanged, this, &TSKObjectPrivate::seenChanged);
    }
}

TSKObjectPrivate::~TSKObjectPrivate()
{
    visibility_.reset();
    NotificationCenter::defaultCenter()->removeObserver(this);
    webViewDelegate_.reset();
    releaseWebView();
    resetBuildAdWebView();
    if (buildAdJS_)
        buildAdJS_->setDelegate(nullptr);
    setAdHTML(nullptr);
    for (const auto &tracker : trackers_)
        tracker->reset();
}

void TSKObjectPrivate::createWebView()
{
    webView_ = new WebView(adView_);
    webView_->setGeometry(adView_ ? adView_->rect() : QRect());
    webView_->setAttribute(Qt::WA_TranslucentBackground);
    webView_->page()->setBackgroundColor(Qt::transparent);
    webView_->setFocusPolicy(Qt::NoFocus);
    webView_->hide();
    if (webViewDelegate_)
        webView_->setDelegate(webViewDelegate_.get());
}

void TSKObjectPrivate::releaseWebView()
{
    if (!webView_)
        return;
    // A delegate may release the banner from inside one of the page's own
    // callbacks: let the event loop finish with the page first.
    webView_->deleteSoon();
    webView_ = nullptr;
}

void TSKObjectPrivate::observeLaunchOnce()
{
    static bool observing = false;
    if (std::exchange(observing, true))
        return;
    static QObject *const observer = new QObject;
    NotificationCenter::defaultCenter()->addObserver(
        observer, Application::DidFinishLaunchingNotification, nullptr, [](const Notification &) {
            didAppFinishLaunching = true;
            NotificationCenter::defaultCenter()->removeObserver(observer);
        });
}

bool TSKObjectPrivate::isAppActive()
{
    return Application::shared()->applicationState() == Application::Active || !didAppFinishLaunching;
}

void TSKObjectPrivate::observeNotifications()
{
    NotificationCenter *center = NotificationCenter::defaultCenter();
    const auto deactivate = [this](const Notification &) {
        paused_ = true;
        deactivateReloadTimer();
    };
    const auto activate = [this](const Notification &) {
        paused_ = false;
        activateReloadTimer();
    };
    if (TSKIdentifierUtilities::isOSAtLeastMajorMinorBug(4, 0, 0)) {
        center->addObserver(this, Application::DidEnterBackgroundNotification, nullptr, deactivate);
        center->addObserver(this, Application::WillEnterForegroundNotification, nullptr, activate);
    } else {
        center->addObserver(this, Application::WillResignActiveNotification, nullptr, deactivate);
        center->addObserver(this, Application::DidBecomeActiveNotification, nullptr, activate);
    }
    // Any ad that covers the screen pauses every banner, not just its own.
    center->addObserver(this, TSKFullScreen::WillPresentNotification, nullptr, deactivate);
    center->addObserver(this, TSKFullScreen::DidRelinquishNotification, nullptr, activate);
}

void TSKObjectPrivate::changeState(int state)
{
    if (state_ != state)
        state_ = state;
}

void TSKObjectPrivate::loadRequest(const TSKRequest *request)
{
    hasAutoRefreshed_ = false;
    const TSKRequestPrivate empty;
    loadPrivateRequest(request ? TSKRequestPrivate::from(request) : &empty);
}

void TSKObjectPrivate::loadInterstitialRequest(const TSKRequest *request)
{
    hasAutoRefreshed_ = false;
    TSKRequestPrivate interstitial = request ? TSKRequestPrivate(*TSKRequestPrivate::from(request)) : TSKRequestPrivate();
    interstitial.setInterstitialAd(true);
    loadPrivateRequest(&interstitial);
}

void TSKObjectPrivate::loadPrivateRequest(const TSKRequestPrivate *request)
{
    if (!isAppActive())
        return;
    if (!TSKRequestPrivate::deviceAtLeastMinimumOSMajorVersionMinorVersion(TSKRequestError::MinimumOSMajor,
                                                                          TSKRequestError::MinimumOSMinor)) {
        changeState(Failed);
        failWithCode(TSKRequestError::OSVersionTooLow);
        return;
    }
    if (request != request_.get())
        request_ = std::make_unique<TSKRequestPrivate>(*request);
    // Nobody would see the ad: ask when somebody can.
    loadWaitsForSight_ = !isSeen();
    if (loadWaitsForSight_)
        return;

    // Before counting: without consent no count from an earlier launch goes out.
    Velmora::Ads::PrivacySettingsPrivate::enforce();
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    if (!statistics->timingNamed(QStringLiteral("ptime")))
        statistics->startTimingNamed(QStringLiteral("ptime"));
    statistics->incrementAdRequestCount();
    request_->setCounter(statistics->adRequestCount());

    changeState(BuildingAdURL);
    ensureSupportFiles();
}

void TSKObjectPrivate::ensureSupportFiles()
{
    if (!buildAdJS_) {
        changeState(FetchingCoreScript);
        buildAdJS_ = std::make_unique<TSKCachedFile>(asFileDelegate(), coreScriptURL());
        buildAdJS_->setMaximumBytes(kMaximumCoreScriptBytes);
    }
    TSKStatisticsCore store(QStringLiteral("TSKObjectPrivate"));
    const QDateTime expireDate = store.dateForKey(kExpireDateKey).toDateTime();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (expireDate.isValid() && !buildAdJS_->content().isEmpty() && expireDate >= now) {
        cachedFileDownloadDidEnd(buildAdJS_.get());
        return;
    }
    store.setDateForKey(now.addSecs(kCoreScriptLifetimeSeconds), kExpireDateKey);
    store.synchronize();
    changeState(FetchingCoreScript);
    buildAdJS_->validate();
}

void TSKObjectPrivate::cachedFileDownloadDidEnd(TSKCachedFile *file)
{
    if (file == buildAdJS_.get())
        buildAdUrl();
    else if (file == adHTML_.get() && isSeen())
        showAd();
    else if (file == adHTML_.get())
        renderWaitsForSight_ = true;
}

void TSKObjectPrivate::buildAdUrl()
{
    changeState(BuildingAdURL);
    QVariantMap parameters = request_->parameters();
    request_->setSentParameters(parameters);
    if (!adUnitID_.isEmpty())
        parameters.insert(QStringLiteral("slotname"), adUnitID_);
    if (request_->interstitialAd())
        parameters.insert(QStringLiteral("format"), QStringLiteral("interstitial_mb"));
    else
        parameters.insert(QStringLiteral("ad_frame"), adFrame());

    setupBuildAdWebView();
    const QString page = QStringLiteral("<html><head><script>") + buildAdJS_->content()
        + QStringLiteral("</script><script>%1(%2);</script></head><body></body></html>")
              .arg(QStringLiteral("TISKOS_buildAdURL"), TSKMacros::jsonify(parameters));
    buildAdWebView_->loadHTMLString(page, adServerBaseURL());
}

QVariantMap TSKObjectPrivate::adFrame() const
{
    const QRectF frame = adView_ ? QRectF(adView_->geometry()) : QRectF();
    return {{QStringLiteral("x"), frame.x()},
            {QStringLiteral("y"), frame.y()},
            {QStringLiteral("w"), frame.width()},
            {QStringLiteral("h"), frame.height()}};
}

void TSKObjectPrivate::setupBuildAdWebView()
{
    resetBuildAdWebView();
    buildAdWebViewDelegate_ = std::make_unique<TSKBuildAdWebViewDelegate>([this] { failedToBuildAdURL(); });
    buildAdWebView_ = std::make_unique<WebView>();
    buildAdWebView_->resize(1, 1);
    buildAdWebView_->setDelegate(buildAdWebViewDelegate_.get());
    NotificationCenter *center = TSKNotificationCenter::defaultCenter();
    center->addObserver(this, &TSKObjectPrivate::loadAdURL, kLoadAdURL, buildAdWebView_.get());
    center->addObserver(this, &TSKObjectPrivate::invalidRequest, kInvalidRequest, buildAdWebView_.get());
    center->addObserver(this, &TSKObjectPrivate::unableToServe, kUnableToServe, buildAdWebView_.get());
}

void TSKObjectPrivate::resetBuildAdWebView()
{
    if (!buildAdWebView_)
        return;
    NotificationCenter *center = TSKNotificationCenter::defaultCenter();
    for (const QString &name : {kLoadAdURL, kInvalidRequest, kUnableToServe})
        center->removeObserver(this, name, buildAdWebView_.get());
    buildAdWebView_->setDelegate(nullptr);
    // Its page may still be calling back: let the event loop finish with it.
    buildAdWebView_.release()->deleteSoon();
    buildAdWebViewDelegate_.reset();
}

void TSKObjectPrivate::loadAdURL(const Notification &notification)
{
    resetBuildAdWebView();
    changeState(FetchingAdPage);
    const QVariantMap &userInfo = notification.userInfo();
    TSKDeviceSignals::requestTypeAndVersion(
        TSKRequestPrivate::requestTypeFromString(userInfo.value(QStringLiteral("type")).toString()),
        TSKRequest::sdkVersion());
    QUrl adURL(userInfo.value(QStringLiteral("url")).toString());
    if (const QVariantMap spam = request_->spamSignals(); !spam.isEmpty())
        adURL = TSKNetworkUtilities::appendQueryParametersToURL(spam, adURL);
    TSKStatistics::sharedStatistics()->startTimingNamed(QStringLiteral("prl"));
    setAdHTML(std::make_unique<TSKCachedFile>(asFileDelegate(), adURL));
}

// The build page died with its renderer: the load fails, and the reloads go
// on as after a failed ad page fetch instead of waiting for ever.
void TSKObjectPrivate::failedToBuildAdURL()
{
    resetBuildAdWebView();
    changeState(Failed);
    QPointer<TSKObjectPrivate> alive(this);
    failWithCode(TSKRequestError::NetworkError);
    if (alive)
        addReloadInformationFromHeaders();
}

void TSKObjectPrivate::invalidRequest(const Notification &notification)
{
    logLine(QStringLiteral("<Tiskos> Invalid Request: ") + TSKPropertyListDescription::describe(notification.userInfo()));
    failWithCode(TSKRequestError::InvalidRequest);
}

// Deliberately the invalid-request code: the publisher's unit is what is wrong.
void TSKObjectPrivate::unableToServe(const Notification &notification)
{
    logLine(QStringLiteral("<Tiskos> Unable to serve: ") + TSKPropertyListDescription::describe(notification.userInfo()));
    failWithCode(TSKRequestError::InvalidRequest);
}

void TSKObjectPrivate::setAdHTML(std::unique_ptr<TSKCachedFile> file)
{
    if (adHTML_) {
        adHTML_->setDelegate(nullptr);
        adHTML_->invalidate();
    }
    adHTML_ = std::move(file);
    pendingTrackingURLs_.clear();
    renderWaitsForSight_ = false;
    if (!adHTML_)
        return;
    adHTML_->setMaximumBytes(kMaximumAdPageBytes);
    // The ad network names the page; only the web may be fetched.
    if (!URLConnection::isWebURL(adHTML_->sourceURL())) {
        failedAdRequestWithErrorFile(adHTML_.get());
        return;
    }
    adHTML_->validate();
}

void TSKObjectPrivate::showAd()
{
    const QUrl baseURL = adHTML_->httpDestinationURL();
    const QString content = adHTML_->content().trimmed();
    addReloadInformationFromHeaders();
    if (content.isEmpty()) {
        changeState(Failed);
        failWithCode(TSKRequestError::NoFill);
        return;
    }
    changeState(Rendering);
    // The ad on view stays there, counting its second, until this one renders.
    renderingTrackingURLs_ = std::exchange(pendingTrackingURLs_, {});
    webView_->loadHTMLString(content, baseURL);
    const int render = ++renders_;
    performAfterDelay(this, [this, render] { renderDeadlinePassed(render, kRenderDeadlineSeconds); },
                      kRenderDeadlineSeconds);
}

// A renderer that still answers is only slow, and its page gets more time,
// up to kLongestRenderSeconds; a stuck one fails the load and is ended.
void TSKObjectPrivate::renderDeadlinePassed(int render, double waited)
{
    const auto rendering = [this, render] { return render == renders_ && state_ == Rendering; };
    if (!rendering())
        return;
    RendererWatch::shared()->check(webView_->page(), this, [this, render, waited, rendering](bool stuck) {
        if (!rendering())
            return;
        const double next = waited + kRenderDeadlineSeconds;
        if (!stuck && next <= kLongestRenderSeconds) {
            performAfterDelay(this, [this, render, next] { renderDeadlinePassed(render, next); }, kRenderDeadlineSeconds);
            return;
        }
        changeState(Failed);
        webView_->stopLoading();
        failWithCode(TSKRequestError::NetworkError);
    });
}

void TSKObjectPrivate::failWithCode(qint64 code)
{
    delegateManager_->didFailToReceiveAdWithError(TSKRequestError::errorWithCodeRequest(code, request_.get()));
}

void TSKObjectPrivate::cachedFileDownloadDidFail(TSKCachedFile *file, const std::optional<Error> &)
{
    if (file == buildAdJS_.get())
        failedToDownloadJavaScriptWithError();
    else
        failedAdRequestWithErrorFile(file);
}

void TSKObjectPrivate::failedToDownloadJavaScriptWithError()
{
    changeState(CoreScriptFailed);
    if (buildAdJS_->hasContent())
        buildAdUrl();
    else
        failWithCode(TSKRequestError::NetworkError);
}

void TSKObjectPrivate::failedAdRequestWithErrorFile(TSKCachedFile *file)
{
    changeState(Failed);
    const bool rejected = file && file->httpStatusCode() == kBadRequestStatus;
    if (rejected)
        logLine(QStringLiteral("<Tiskos> Server rejected ad parameters.  Typically this is because the ad unit ID is incorrect."));
    QPointer<TSKObjectPrivate> alive(this);
    failWithCode(rejected ? TSKRequestError::InvalidRequest : TSKRequestError::NetworkError);
    if (alive)
        addReloadInformationFromHeaders();
}

std::optional<Error> TSKObjectPrivate::cachedFileShouldRedirectToURL(TSKCachedFile *file, const QUrl &url)
{
    const QVariantMap &headers = file->httpHeaders();
    const QStringList pieces = headerValue(headers, u"X-Tiskos-Tracking-Urls").split(QLatin1Char(' '));
    for (const QString &piece : pieces) {
        const QUrl trackingURL(piece.trimmed(), QUrl::StrictMode);
        if (trackingURL.isValid() && !trackingURL.isEmpty() && pendingTrackingURLs_.size() < kMaximumTrackingURLs)
            pendingTrackingURLs_.append(trackingURL);
    }
    supportedOrientations_ = TSKFullScreen::orientationFromString(headerValue(headers, u"X-Tiskos-Orientation"));
    if (!URLConnection::isWebURL(url))
        return Error::withMessage(TSKRequestError::Domain, TSKRequestError::NetworkError,
                                  QStringLiteral("The ad network redirected away from the web."));
    return std::nullopt;
}

double TSKObjectPrivate::periodFromHeader(const QString &text)
{
    const QByteArray latin = text.toLatin1();
    const double value = std::strtod(latin.constData(), nullptr);
    return std::isnan(value) ? 0.0 : value;
}

void TSKObjectPrivate::addReloadInformationFromHeaders()
{
    const QString refresh = adHTML_ ? headerValue(adHTML_->httpHeaders(), u"X-Tiskos-Refresh-Rate") : QString();
    scheduleReloadTimer(refresh.isEmpty() ? reloadSeconds_ : periodFromHeader(refresh));
}

void TSKObjectPrivate::scheduleReloadTimer(double seconds)
{
    resetReloadTimer();
    if (seconds == 0.0)
        return;
    reloadSeconds_ = std::max(seconds, kMinimumReloadSeconds);
    if (paused_ || !isSeen())
        return;
    reloadTimer_ = Timer::scheduledTimerWithTimeInterval(reloadSeconds_, this, &TSKObjectPrivate::reloadCurrentRequest,
                                                         QVariant(), false);
}

void TSKObjectPrivate::invalidate(QPointer<Timer> &timer)
{
    if (timer)
        timer->invalidate();
    timer = nullptr;
}

void TSKObjectPrivate::reloadCurrentRequest()
{
    hasAutoRefreshed_ = true;
    loadPrivateRequest(request_.get());
}

void TSKObjectPrivate::activateReloadTimer()
{
    scheduleReloadTimer(reloadSeconds_);
}

void TSKObjectPrivate::deactivateReloadTimer()
{
    resetReloadTimer();
}

void TSKObjectPrivate::cancelPendingActions()
{
    cancelPreviousPerformRequests(this);
    resetReloadTimer();
    invalidate(viewabilityTimer_);
    invalidate(dormancyTimer_);
}

bool TSKObjectPrivate::isSeen() const
{
    return visibility_ && visibility_->isSeen();
}

void TSKObjectPrivate::seenChanged(bool seen)
{
    if (seen) {
        invalidate(dormancyTimer_);
        resumeInSight();
        return;
    }
    resetReloadTimer();
    invalidate(viewabilityTimer_);
    if (request_ && !dormant_)
        dormancyTimer_ = Timer::scheduledTimerWithTimeInterval(kDormantAfterSeconds, this, &TSKObjectPrivate::goDormant,
                                                               QVariant(), false);
}

// Whatever waited for the player's eyes goes on; otherwise the reloads come
// back with a full period, as from the background.
void TSKObjectPrivate::resumeInSight()
{
    // The ad on view, if any, starts its second again whatever comes next.
    startViewabilityTimer();
    if (std::exchange(dormant_, false) || loadWaitsForSight_) {
        if (!webView_)
            createWebView();
        loadPrivateRequest(request_.get());
        return;
    }
    if (std::exchange(renderWaitsForSight_, false)) {
        showAd();
        return;
    }
    scheduleReloadTimer(reloadSeconds_);
}

// Everything a new load rebuilds goes; what a full-screen ad or a click in
// flight still uses (the page delegate, its opener and trackers) stays.
void TSKObjectPrivate::goDormant()
{
    dormant_ = true;
    if (buildAdJS_)
        buildAdJS_->cancel();
    resetBuildAdWebView();
    setAdHTML(nullptr);
    releaseWebView();
    // The ad on view goes with its page, uncounted.
    impressionDue_ = false;
    invalidate(viewabilityTimer_);
    renderingTrackingURLs_.clear();
    changeState(Idle);
}

// The ad it replaced counts only if its second in sight was already up.
void TSKObjectPrivate::countImpressionWhenViewable()
{
    shownTrackingURLs_ = std::exchange(renderingTrackingURLs_, {});
    impressionDue_ = true;
    startViewabilityTimer();
}

void TSKObjectPrivate::startViewabilityTimer()
{
    invalidate(viewabilityTimer_);
    if (impressionDue_ && isSeen())
        viewabilityTimer_ = Timer::scheduledTimerWithTimeInterval(
            kViewableSeconds, this, &TSKObjectPrivate::impressionBecameViewable, QVariant(), false);
}

void TSKObjectPrivate::impressionBecameViewable()
{
    if (std::exchange(impressionDue_, false))
        trackURLs(shownTrackingURLs_);
}

void TSKObjectPrivate::trackURLs(const QList<QUrl> &urls)
{
    for (const QUrl &url : urls) {
        auto tracker = std::make_unique<TSKClickTracker>();
        tracker->setDelegate(this);
        tracker->trackURL(url);
        trackers_.push_back(std::move(tracker));
    }
}

void TSKObjectPrivate::trackerDidRedirect(TSKClickTracker *, const QUrl &)
{
    DelayedPerform::performAfterDelay(this, &TSKObjectPrivate::cleanupTrackers, 0);
}

void TSKObjectPrivate::trackerDidFailWithError(TSKClickTracker *, const std::optional<Error> &)
{
    DelayedPerform::performAfterDelay(this, &TSKObjectPrivate::cleanupTrackers, 0);
}

void TSKObjectPrivate::cleanupTrackers()
{
    std::erase_if(trackers_, [](const std::unique_ptr<TSKClickTracker> &tracker) { return tracker->hasTracked(); });
}
