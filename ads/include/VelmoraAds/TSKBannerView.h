#pragma once

#include <VelmoraAds/velmoraads_export.h>
// Failure events carry the platform's error value.
#include "Error.h"

#include <QRectF>
#include <QStringList>
#include <QWidget>

class TSKObjectPrivate;
class TSKRequest;
namespace Velmora::Platform {
class ViewController;
class WebView;
}

/// A banner ad: place it (320 by 50 points is the usual size), give it an ad
/// unit and a root view controller, and call loadRequest(). It refreshes
/// itself on the ad network's schedule and carries out taps on the ad.
///
/// Delegates are QObjects that declare the events they want to hear as
/// invokables, such as
/// `Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *view);`
/// (all of them: \ref delegate-events).
class VELMORAADS_EXPORT TSKBannerView : public QWidget
{
    Q_OBJECT
public:
    /// The library registers the web engine schemes ad pages use as the
    /// QApplication is made. Call this before the QApplication exists only
    /// to let ads open other programs' links, with those links' schemes.
    static void registerSchemes(const QStringList &applicationLinkSchemes = {});

    /// The frame is in points, in the parent's coordinates.
    explicit TSKBannerView(const QRectF &frame, QWidget *parent = nullptr);
    explicit TSKBannerView(QWidget *parent = nullptr);
    ~TSKBannerView() override;

    QString adUnitID() const;
    void setAdUnitID(const QString &adUnitID);
    /// Presents what a tap opens; not owned.
    Velmora::Platform::ViewController *rootViewController() const;
    void setRootViewController(Velmora::Platform::ViewController *controller);
    /// The first delegate set. Setting another adds it: all of them hear the events.
    QObject *delegate() const;
    void setDelegate(QObject *delegate);
    /// Whether the current ad came from a reload the server scheduled.
    bool hasAutoRefreshed() const;
    /// The page that shows the ad; null while a banner long out of sight has
    /// given its pages back.
    Velmora::Platform::WebView *webView() const;

    /// Loads an ad for a copy of the request (an empty one for null).
    void loadRequest(const TSKRequest *request);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void commonInitializer();
    TSKObjectPrivate *privateObject() const;
};
