#pragma once

#include "ViewController.h"
#include "WebViewDelegate.h"

#include <VelmoraAds/TSKWebViewNotification.h>

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>
#include <memory>

class TSKClickTracker;
class TSKNotification;
class TSKOpener;
class TSKScreenPresenter;

// The bridge between an ad page and native code. The page asks for native
// actions by navigating to "tsmsg:" (or the older "tiskos:") URLs; this
// delegate refuses those navigations and acts on them. It also keeps pages
// from leaving the web: local files are refused, mail and other programs'
// links go to the opener, only http and https load.
class TSKWebViewDelegate : public QObject, public Velmora::Platform::WebViewDelegate
{
    Q_OBJECT
public:
    // Longest page message read, and most parameters in one; larger ones are
    // dropped unread, since parsing them would hold up the game.
    static constexpr qsizetype kMaximumMessageBytes = 64 * 1024;
    static constexpr qsizetype kMaximumMessageParameters = 256;

    // Makes the bridge schemes, mail links and the given application link
    // schemes reach ad web views. Call before the QApplication exists.
    static void registerSchemes(const QStringList &applicationLinkSchemes = {});
    static bool areSchemesRegistered();

    // Evaluates the page's orientation getter and change handler.
    static void notifyWebViewOfOrientationChange(Velmora::Platform::WebContent *webView, int orientation);
    // The value as an integer, or -1 when the key is absent.
    static int intForKeyFromDictionary(const QString &key, const QVariantMap &dictionary);

    explicit TSKWebViewDelegate(QObject *parent = nullptr);
    ~TSKWebViewDelegate() override;

    // Not owned: presents what the opener shows, and receives "close".
    Velmora::Platform::ViewController *viewController() const { return viewController_; }
    void setViewController(Velmora::Platform::ViewController *controller) { viewController_ = controller; }
    TSKOpener *opener() const { return opener_.get(); }
    // For a page on a screen without a view controller (drawn in Qt Quick):
    // `screen` hears "close", and what the page opens `presenter` draws.
    // Neither is owned.
    void setScreen(QObject *screen, TSKScreenPresenter *presenter);

    bool webViewShouldStartLoad(Velmora::Platform::WebContent *webView, const QNetworkRequest &request, NavigationType type) override;
    void webViewDidFinishLoad(Velmora::Platform::WebContent *webView) override;

    void trackURLStringAppendSpamSignals(const QString &urlString, bool appendSpamSignals);
    void processTouchSignals(const QVariantMap &parameters);

private:
    void performBridgeMessage(Velmora::Platform::WebContent *webView, const TSKNotification &message, const QUrl &url);
    void closeScreen();
    bool decideOrdinaryURL(Velmora::Platform::WebContent *webView, const QUrl &url, NavigationType type);
    static bool isOversizedMessage(const QUrl &url);
    static void postWebAction(Velmora::Platform::WebContent *webView, const QUrl &url, const QString &action);

    std::unique_ptr<TSKOpener> opener_;
    std::unique_ptr<TSKClickTracker> tracker_;
    QPointer<Velmora::Platform::ViewController> viewController_;
    QPointer<QObject> screen_;
};
