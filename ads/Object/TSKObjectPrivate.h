#pragma once

#include "Network/TSKCachedFileDelegate.h"
#include "Timer.h"
#include "ViewController.h"
#include "WebView.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QUrl>
#include <memory>
#include <optional>
#include <vector>

namespace Velmora::Platform {
class Notification;
}
class TSKBannerWebViewDelegate;
class TSKCachedFile;
class TSKClickTracker;
class TSKDelegateManager;
class TSKRequest;
class TSKRequestPrivate;
class TSKVisibilityTracker;
class TSKWebViewDelegate;

// The engine behind one banner. It takes a request, makes sure the ad
// network's core script is at hand, lets that script build the ad URL in a
// hidden web view, fetches the ad page and shows it in the banner's web view;
// then it reloads on the period the server sets and pings the ad's trackers.
// Every failed load ends in exactly one didFailToReceiveAdWithError.
//
// All of it happens only while the player can see the banner: an unseen
// banner neither starts a load nor renders, reloads or counts impressions,
// and one left unseen long enough gives its pages back until seen again.
class TSKObjectPrivate : public QObject, private TSKCachedFileDelegate
{
    Q_OBJECT
public:
    enum State {
        Idle = 0,
        FetchingCoreScript = 1,
        CoreScriptFailed = 2,
        BuildingAdURL = 3,
        FetchingAdPage = 4,
        Rendering = 5,
        Shown = 6,
        Failed = 7
    };

    // Longest core script and ad page fetched; both stay well under what a
    // web view takes as a string.
    static constexpr qsizetype kMaximumCoreScriptBytes = 512 * 1024;
    static constexpr qsizetype kMaximumAdPageBytes = 1024 * 1024;
    // Most impression trackers taken from one ad; the rest are dropped.
    static constexpr qsizetype kMaximumTrackingURLs = 16;
    // An ad page that has not finished rendering by then fails the load when
    // its renderer is stuck (its script spins, say), and at the longest
    // however busy the renderer is; the banner's reloads go on.
    static constexpr double kRenderDeadlineSeconds = 10.0;
    static constexpr double kLongestRenderSeconds = 30.0;
    // How long an ad must stay in sight, without a break, before its
    // impression counts.
    static constexpr double kViewableSeconds = 1.0;
    // How long a banner stays unseen before it releases its pages.
    static constexpr double kDormantAfterSeconds = 10.0;
    // The shortest reload period taken from a server, so that no ad network
    // can make a banner reload as fast as loads finish.
    static constexpr double kMinimumReloadSeconds = 1.0;

    // The ad web view becomes a child of `adView`, filling it.
    explicit TSKObjectPrivate(QWidget *adView);
    ~TSKObjectPrivate() override;

    // Only an active application loads; a null request loads an empty one.
    void loadRequest(const TSKRequest *request);
    void loadInterstitialRequest(const TSKRequest *request);

    QString adUnitID() const { return adUnitID_; }
    void setAdUnitID(const QString &adUnitID) { adUnitID_ = adUnitID; }
    const std::shared_ptr<TSKDelegateManager> &delegateManager() const { return delegateManager_; }
    Velmora::Platform::ViewController *rootViewController() const { return rootViewController_; }
    void setRootViewController(Velmora::Platform::ViewController *controller) { rootViewController_ = controller; }
    // Null while the banner is dormant.
    Velmora::Platform::WebView *webView() const { return webView_; }
    TSKRequestPrivate *request() const { return request_.get(); }
    TSKCachedFile *adHTML() const { return adHTML_.get(); }
    int state() const { return state_; }
    void changeState(int state);
    bool hasAutoRefreshed() const { return hasAutoRefreshed_; }
    int supportedOrientations() const { return supportedOrientations_; }
    double reloadSeconds() const { return reloadSeconds_; }
    // The pending reload, if any.
    Velmora::Platform::Timer *reloadTimer() const { return reloadTimer_; }
    const QList<QUrl> &pendingTrackingURLs() const { return pendingTrackingURLs_; }
    qsizetype pendingTrackerCount() const { return qsizetype(trackers_.size()); }
    bool isSeen() const;
    bool isDormant() const { return dormant_; }
    // The second of sight that counts the shown ad's impression, if running.
    Velmora::Platform::Timer *viewabilityTimer() const { return viewabilityTimer_; }
    // The countdown of an unseen banner to releasing its pages, if running.
    Velmora::Platform::Timer *dormancyTimer() const { return dormancyTimer_; }

    // Pings each URL once through its own click tracker.
    void trackURLs(const QList<QUrl> &urls);
    // The ad is rendered: its trackers are pinged once it has been in sight
    // for kViewableSeconds.
    void countImpressionWhenViewable();

    // The reload period the server sent, at least kMinimumReloadSeconds; 0
    // cancels the pending reload but keeps the last period for
    // activateReloadTimer(). The timer runs only while the banner is seen.
    void scheduleReloadTimer(double seconds);
    void activateReloadTimer();
    void deactivateReloadTimer();
    // Stops every delayed call and the pending reload (the banner is going).
    void cancelPendingActions();

    // Reads a period as the phone's doubleValue did: the leading number, 0 for none or NaN.
    static double periodFromHeader(const QString &text);

    Q_INVOKABLE void trackerDidRedirect(TSKClickTracker *tracker, const QUrl &url);
    Q_INVOKABLE void trackerDidFailWithError(TSKClickTracker *tracker, const std::optional<Velmora::Platform::Error> &error);

private:
    static bool isAppActive();
    static void observeLaunchOnce();

    void loadPrivateRequest(const TSKRequestPrivate *request);
    void ensureSupportFiles();
    void buildAdUrl();
    void setupBuildAdWebView();
    void resetBuildAdWebView();
    void loadAdURL(const Velmora::Platform::Notification &notification);
    void invalidRequest(const Velmora::Platform::Notification &notification);
    void unableToServe(const Velmora::Platform::Notification &notification);
    void failedToBuildAdURL();
    void setAdHTML(std::unique_ptr<TSKCachedFile> file);
    void showAd();
    void renderDeadlinePassed(int render, double waited);
    void createWebView();
    void releaseWebView();
    void seenChanged(bool seen);
    void resumeInSight();
    void goDormant();
    void startViewabilityTimer();
    void impressionBecameViewable();
    static void invalidate(QPointer<Velmora::Platform::Timer> &timer);
    void failWithCode(qint64 code);
    void failedToDownloadJavaScriptWithError();
    void failedAdRequestWithErrorFile(TSKCachedFile *file);
    void addReloadInformationFromHeaders();
    void resetReloadTimer() { invalidate(reloadTimer_); }
    void reloadCurrentRequest();
    void cleanupTrackers();
    void observeNotifications();
    QVariantMap adFrame() const;
    TSKCachedFileDelegate *asFileDelegate() { return this; }

    void cachedFileDownloadDidEnd(TSKCachedFile *file) override;
    void cachedFileDownloadDidFail(TSKCachedFile *file, const std::optional<Velmora::Platform::Error> &error) override;
    std::optional<Velmora::Platform::Error> cachedFileShouldRedirectToURL(TSKCachedFile *file, const QUrl &url) override;

    QPointer<QWidget> adView_;
    QString adUnitID_;
    std::shared_ptr<TSKDelegateManager> delegateManager_;
    QPointer<Velmora::Platform::ViewController> rootViewController_;
    QPointer<Velmora::Platform::WebView> webView_;
    std::unique_ptr<Velmora::Platform::WebView> buildAdWebView_;
    std::unique_ptr<TSKBannerWebViewDelegate> webViewDelegate_;
    std::unique_ptr<TSKWebViewDelegate> buildAdWebViewDelegate_;
    std::unique_ptr<TSKCachedFile> buildAdJS_;
    std::unique_ptr<TSKCachedFile> adHTML_;
    std::unique_ptr<TSKRequestPrivate> request_;
    int state_ = Idle;
    std::vector<std::unique_ptr<TSKClickTracker>> trackers_;
    // The impression trackers of the ad being fetched, of the one being
    // rendered, and of the one on view.
    QList<QUrl> pendingTrackingURLs_;
    QList<QUrl> renderingTrackingURLs_;
    QList<QUrl> shownTrackingURLs_;
    QPointer<Velmora::Platform::Timer> reloadTimer_;
    double reloadSeconds_ = 0;
    bool hasAutoRefreshed_ = false;
    int supportedOrientations_ = 1;
    int renders_ = 0;
    std::unique_ptr<TSKVisibilityTracker> visibility_;
    QPointer<Velmora::Platform::Timer> viewabilityTimer_;
    QPointer<Velmora::Platform::Timer> dormancyTimer_;
    // The background or a full-screen ad holds every banner's reloads.
    bool paused_ = false;
    bool dormant_ = false;
    bool loadWaitsForSight_ = false;
    bool renderWaitsForSight_ = false;
    bool impressionDue_ = false;
};
