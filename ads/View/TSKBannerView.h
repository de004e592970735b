#pragma once

#include <QRectF>
#include <QStringList>
#include <QWidget>

class TSKObjectPrivate;
class TSKRequest;
class ViewController;
class WebView;

// A banner ad: place it (320 by 50 points is the usual size), give it an ad
// unit and a root view controller, and call loadRequest(). It refreshes
// itself on the ad network's schedule and carries out taps on the ad.
//
// Delegates are QObjects with any of these invokables:
//     Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *view);
//     Q_INVOKABLE void adViewDidFailToReceiveAdWithError(TSKBannerView *view, const Error &error);
//     Q_INVOKABLE void adViewWillPresentScreen(TSKBannerView *view);
//     Q_INVOKABLE void adViewWillDismissScreen(TSKBannerView *view);
//     Q_INVOKABLE void adViewDidDismissScreen(TSKBannerView *view);
//     Q_INVOKABLE void adViewWillLeaveApplication(TSKBannerView *view);
class TSKBannerView : public QWidget
{
    Q_OBJECT
public:
    // Ad pages reach the library through web engine schemes that must be
    // known before the QApplication exists: call this first in main(), with
    // the schemes of other programs' links that ads may open.
    static void registerSchemes(const QStringList &applicationLinkSchemes = {});

    // The frame is in points, in the parent's coordinates.
    explicit TSKBannerView(const QRectF &frame, QWidget *parent = nullptr);
    explicit TSKBannerView(QWidget *parent = nullptr);
    ~TSKBannerView() override;

    QString adUnitID() const;
    void setAdUnitID(const QString &adUnitID);
    // Presents what a tap opens; not owned.
    ViewController *rootViewController() const;
    void setRootViewController(ViewController *controller);
    // The first delegate set. Setting another adds it: all of them hear the events.
    QObject *delegate() const;
    void setDelegate(QObject *delegate);
    // Whether the current ad came from a reload the server scheduled.
    bool hasAutoRefreshed() const;
    WebView *webView() const;

    // Loads an ad for a copy of the request (an empty one for null).
    void loadRequest(const TSKRequest *request);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void commonInitializer();
    TSKObjectPrivate *privateObject() const;
};
