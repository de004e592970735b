#pragma once

#include <VelmoraAds/velmoraads_export.h>

#include <QString>
#include <QWidget>

#include <memory>

class TSKBannerView;
class TSKRequest;

namespace Velmora::Ads {

class BannerWidgetPrivate;

/// A banner ad for any Qt Widgets program: put it in a layout, give it an ad
/// unit and call load(). It wraps one TSKBannerView and reports the ad's
/// events as signals; full-screen ads a tap opens cover the widget's own
/// top-level window and close back to it. Nothing needs to be set up before
/// the QApplication exists.
///
/// Use it on the GUI thread; its signals are emitted there. A slot may delete
/// the widget with deleteLater().
class VELMORAADS_EXPORT BannerWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString adUnitId READ adUnitId WRITE setAdUnitId NOTIFY adUnitIdChanged)
    Q_PROPERTY(bool autoRefreshed READ autoRefreshed NOTIFY autoRefreshedChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
public:
    enum class State { Idle, Loading, Shown, Failed };
    Q_ENUM(State)
    /// Why a load got no ad; the values are the library's request error codes 0 to 4.
    enum class Failure { InvalidRequest, NoFill, NetworkError, UnsupportedSystem, Timeout };
    Q_ENUM(Failure)

    explicit BannerWidget(QWidget *parent = nullptr);
    ~BannerWidget() override;

    QString adUnitId() const;
    void setAdUnitId(const QString &id);
    /// Whether the ad shown came from a reload the ad network scheduled.
    bool autoRefreshed() const;
    /// How the latest load went.
    State state() const;
    /// The message of the latest failed load; empty once an ad is shown.
    QString lastError() const;

    /// The wrapped banner, for what only it offers: its delegates, or a view
    /// controller of the program's own to present full-screen ads over.
    /// Owned by this widget.
    TSKBannerView *bannerView() const;

    /// 320 by 50, or the ad's own size once one is shown.
    QSize sizeHint() const override;

public Q_SLOTS:
    /// Loads an ad for an empty request.
    void load();
    /// Loads an ad for a copy of the request.
    void load(const TSKRequest &request);

Q_SIGNALS:
    void adUnitIdChanged(const QString &id);
    void autoRefreshedChanged(bool autoRefreshed);
    void stateChanged(Velmora::Ads::BannerWidget::State state);
    void lastErrorChanged(const QString &message);

    void adReceived();
    void adFailed(Velmora::Ads::BannerWidget::Failure code, const QString &message);
    /// A full-screen ad is about to cover the window.
    void screenWillPresent();
    void screenWillDismiss();
    void screenDidDismiss();
    /// A tap is about to open another program.
    void willLeaveApplication();

protected:
    bool event(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class BannerWidgetPrivate;
    std::unique_ptr<BannerWidgetPrivate> d;
};

}  // namespace Velmora::Ads
