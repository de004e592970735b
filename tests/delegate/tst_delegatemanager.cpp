#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"

#include <QThread>

using namespace Velmora::Platform;

class AdView : public QObject { Q_OBJECT };

// Every delegate writes "<name>:<callback>" into one shared log.
class LoggingDelegate : public QObject
{
    Q_OBJECT
public:
    LoggingDelegate(QString name, QStringList *log) : name(std::move(name)), log(log) {}
    void note(const char *callback, QObject *ad, const Error *error = nullptr)
    {
        log->append(name + ':' + callback + (ad ? "" : "(no ad)") + (error ? '(' + error->domain + ')' : QString()));
        if (onCall)
            onCall();
    }
    QString name;
    QStringList *log;
    std::function<void()> onCall;
};

class BannerDelegate : public LoggingDelegate
{
    Q_OBJECT
public:
    using LoggingDelegate::LoggingDelegate;
    Q_INVOKABLE void adViewDidReceiveAd(AdView *view) { note("received", view); }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(AdView *view, const Error &error) { note("failed", view, &error); }
    Q_INVOKABLE void adViewWillPresentScreen(AdView *view) { note("willPresent", view); }
    Q_INVOKABLE void adViewWillDismissScreen(AdView *view) { note("willDismiss", view); }
    Q_INVOKABLE void adViewDidDismissScreen(AdView *view) { note("didDismiss", view); }
    Q_INVOKABLE void adViewWillLeaveApplication(AdView *view) { note("willLeave", view); }
};

class InterstitialDelegate : public LoggingDelegate
{
    Q_OBJECT
public:
    using LoggingDelegate::LoggingDelegate;
    Q_INVOKABLE void interstitialDidReceiveAd(QObject *ad) { note("i-received", ad); }
    Q_INVOKABLE void interstitialDidFailToReceiveAdWithError(QObject *ad, const Error &error) { note("i-failed", ad, &error); }
    Q_INVOKABLE void interstitialWillPresentScreen(QObject *ad) { note("i-willPresent", ad); }
    Q_INVOKABLE void interstitialWillDismissScreen(QObject *ad) { note("i-willDismiss", ad); }
    Q_INVOKABLE void interstitialDidDismissScreen(QObject *ad) { note("i-didDismiss", ad); }
    Q_INVOKABLE void interstitialWillLeaveApplication(QObject *ad) { note("i-willLeave", ad); }
};

// Both forms of one event, and banner look-alikes that must not be called.
class MixedDelegate : public InterstitialDelegate
{
    Q_OBJECT
public:
    using InterstitialDelegate::InterstitialDelegate;
    Q_INVOKABLE void adViewDidReceiveAd(AdView *view) { note("received", view); }
    Q_INVOKABLE void adViewWillPresentScreen(QThread *ad) { note("wrong class", ad); }
    Q_INVOKABLE void adViewWillDismissScreen(int) { note("wrong type", nullptr); }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(AdView *view) { note("wrong arity", view); }
};

class TestDelegateManager : public QObject
{
    Q_OBJECT
private slots:
    void registeredDelegatesHearTheFormsTheyImplement()
    {
        QStringList log;
        AdView view;
        BannerDelegate banner("banner", &log), internal("internal", &log), muted("muted", &log);
        MixedDelegate mixed("mixed", &log);
        TSKDelegateManager manager;
        manager.addDelegate(&internal, &view)->setInternal(true);
        TSKDelegateContainer *first = manager.addDelegate(&banner, &view);
        manager.addDelegate(&mixed, &view);
        manager.addDelegate(&muted, &view)->setDisabled(true);
        QCOMPARE(manager.publisherDelegateContainer(), first);
        manager.didReceiveAd();
        manager.didFailToReceiveAdWithError(TSKRequestError::errorWithCodeRequest(TSKRequestError::NetworkError, nullptr));
        manager.willPresentScreen();
        manager.willDismissScreen();
        manager.didDismissScreen();
        manager.willLeaveApplication();
        const QString failed = "failed(" + TSKRequestError::Domain + ')';
        QCOMPARE(log, (QStringList{"internal:received", "banner:received", "mixed:received", "mixed:i-received",
                                   "internal:" + failed, "banner:" + failed, "mixed:i-" + failed,
                                   "internal:willPresent", "banner:willPresent", "mixed:i-willPresent",
                                   "internal:willDismiss", "banner:willDismiss", "mixed:i-willDismiss",
                                   "internal:didDismiss", "banner:didDismiss", "mixed:i-didDismiss",
                                   "internal:willLeave", "banner:willLeave", "mixed:i-willLeave"}));
        QVERIFY(!TSKStatistics::sharedStatistics()->parameters().contains("pclb"));  // no click was running

        // An event from a worker is delivered on the GUI thread while the worker waits.
        log.clear();
        QThread *deliveredOn = nullptr;
        banner.onCall = [&] { deliveredOn = QThread::currentThread(); };
        bool deliveredBeforeReturning = false;
        std::unique_ptr<QThread> worker(QThread::create([&] {
            manager.didFailToReceiveAdWithError(Error{"AdErrors", 3, {}});
            deliveredBeforeReturning = log.size() == 3;
        }));
        worker->start();
        QVERIFY(QTest::qWaitFor([&] { return worker->isFinished(); }, 20000));
        QVERIFY(deliveredBeforeReturning);
        QCOMPARE(log, (QStringList{"internal:failed(AdErrors)", "banner:failed(AdErrors)", "mixed:i-failed(AdErrors)"}));
        QCOMPARE(deliveredOn, QThread::currentThread());

        // A banner-form delegate cannot take an ad of another class. Removing a delegate
        // added twice removes its first registration; a destroyed delegate hears nothing.
        log.clear();
        QObject other;
        TSKDelegateManager otherManager;
        otherManager.addDelegate(&banner, &other);
        otherManager.addDelegate(&mixed, &other);
        otherManager.addDelegate(&mixed, nullptr);
        otherManager.didReceiveAd();
        otherManager.removeDelegate(&mixed);
        delete otherManager.addDelegate(new BannerDelegate("gone", &log), &view)->delegate();
        otherManager.didReceiveAd();
        QCOMPARE(log, (QStringList{"mixed:i-received", "mixed:received(no ad)", "mixed:i-received(no ad)",
                                   "mixed:received(no ad)", "mixed:i-received(no ad)"}));

        // The others still hear, and the running click still notes it, when a delegate destroys the ad.
        log.clear();
        auto doomed = std::make_unique<TSKDelegateManager>();
        BannerDelegate destroyer("destroyer", &log);
        destroyer.onCall = [&] { doomed.reset(); };
        doomed->addDelegate(&destroyer, &view);
        doomed->addDelegate(&banner, &view);
        TSKStatistics::sharedStatistics()->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        doomed->willLeaveApplication();
        QVERIFY(!doomed);
        QCOMPARE(log, (QStringList{"destroyer:willLeave", "banner:willLeave"}));
        QCOMPARE(TSKStatistics::sharedStatistics()->parameters().value("pclb").toInt(), 1);
    }
};

VELMORA_TEST_MAIN(TestDelegateManager)
#include "tst_delegatemanager.moc"
