#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QQuickItem>
#include <QString>
#include <QStringList>

#include <memory>

namespace Velmora::Ads {

class BannerAdPrivate;

/// A banner ad for Qt Quick: `import Velmora.Ads`, place a BannerAd, give it
/// an ad unit and call load(). It is an item of the scene: clipped by its
/// clipping ancestors, covered by what is drawn above it, faded by opacity
/// and moved with its parent. It loads, reloads and counts impressions only
/// while at least half of it can be seen. Full-screen ads a tap opens are
/// drawn in Qt Quick over its window and close back to it. Nothing needs to
/// be set up before the application object exists.
///
/// Use it on the GUI thread; its signals are emitted there.
class VELMORAADS_EXPORT BannerAd : public QQuickItem
{
    Q_OBJECT
    Q_PROPERTY(QString adUnitId READ adUnitId WRITE setAdUnitId NOTIFY adUnitIdChanged)
    Q_PROPERTY(QStringList keywords READ keywords WRITE setKeywords NOTIFY keywordsChanged)
    Q_PROPERTY(bool autoRefreshed READ autoRefreshed NOTIFY autoRefreshedChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
public:
    enum class State { Idle, Loading, Shown, Failed };
    Q_ENUM(State)
    /// Why a load got no ad; the values are the library's request error codes 0 to 4.
    enum class Failure { InvalidRequest, NoFill, NetworkError, UnsupportedSystem, Timeout };
    Q_ENUM(Failure)

    explicit BannerAd(QQuickItem *parent = nullptr);
    ~BannerAd() override;

    QString adUnitId() const;
    void setAdUnitId(const QString &id);
    /// Sent with every request from the next load on.
    QStringList keywords() const;
    void setKeywords(const QStringList &keywords);
    /// Whether the ad shown came from a reload the ad network scheduled.
    bool autoRefreshed() const;
    /// How the latest load went.
    State state() const;
    /// The message of the latest failed load; empty once an ad is shown.
    QString lastError() const;

public Q_SLOTS:
    /// Loads an ad; asked before the item is complete, once it is.
    void load();

Q_SIGNALS:
    void adUnitIdChanged(const QString &id);
    void keywordsChanged(const QStringList &keywords);
    void autoRefreshedChanged(bool autoRefreshed);
    void stateChanged(Velmora::Ads::BannerAd::State state);
    void lastErrorChanged(const QString &message);

    /// The ad is shown; implicitWidth and implicitHeight are its size.
    void adReceived();
    void adFailed(Velmora::Ads::BannerAd::Failure code, const QString &message);
    /// A full-screen ad is about to cover the window.
    void screenWillPresent();
    void screenWillDismiss();
    void screenDidDismiss();
    /// A tap is about to open another program.
    void willLeaveApplication();

protected:
    void componentComplete() override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;

private:
    friend class BannerAdPrivate;
    std::unique_ptr<BannerAdPrivate> d;
};

}  // namespace Velmora::Ads
