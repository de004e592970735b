#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include "Request/TSKRequestError.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"

#include <QThread>
#include <functional>

// The ad object the events are about.
class AdView : public QObject
{
    Q_OBJECT
};
class OtherAd : public QObject
{
    Q_OBJECT
};

// Every delegate writes "<name>:<callback>" into one shared log.
class LoggingDelegate : public QObject
{
    Q_OBJECT
public:
    LoggingDelegate(QString name, QStringList *log) : name_(std::move(name)), log_(log) {}
    std::function<void()> onCall;
    QList<QThread *> threads;

protected:
    void note(const char *callback, QObject *ad, const Error *error = nullptr)
    {
        threads.append(QThread::currentThread());
        QString entry = name_ + ':' + callback;
        if (!ad)
            entry += "(no ad)";
        if (error)
            entry += '(' + error->domain + ')';
        log_->append(entry);
        if (onCall)
            onCall();
    }

private:
    QString name_;
    QStringList *log_;
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

// Both forms of one event, and look-alikes that must not be called.
class MixedDelegate : public LoggingDelegate
{
    Q_OBJECT
public:
    using LoggingDelegate::LoggingDelegate;
    Q_INVOKABLE void interstitialDidReceiveAd(QObject *ad) { note("i-received", ad); }
    Q_INVOKABLE void adViewDidReceiveAd(AdView *view) { note("received", view); }
    Q_INVOKABLE void adViewWillPresentScreen(OtherAd *ad) { note("wrong class", ad); }
    Q_INVOKABLE void adViewWillDismissScreen(int) { note("wrong type", nullptr); }
    Q_INVOKABLE void adViewDidFailToReceiveAdWithError(AdView *view) { note("wrong arity", view); }
};

namespace {

void sendAllEvents(TSKDelegateManager &manager)
{
    manager.didReceiveAd();
    manager.didFailToReceiveAdWithError(TSKRequestError::errorWithCodeRequest(TSKRequestError::NetworkError, nullptr));
    manager.willPresentScreen();
    manager.willDismissScreen();
    manager.didDismissScreen();
    manager.willLeaveApplication();
}

}  // namespace

class TestDelegateManager : public QObject
{
    Q_OBJECT
private slots:
    void eachDelegateHearsTheFormsItImplements()
    {
        QStringList log;
        AdView view;
        BannerDelegate banner("banner", &log);
        InterstitialDelegate interstitial("interstitial", &log);
        MixedDelegate mixed("mixed", &log);
        TSKDelegateManager manager;
        manager.addDelegate(&banner, &view);
        manager.addDelegate(&interstitial, &view);
        manager.addDelegate(&mixed, &view);

        sendAllEvents(manager);
        QCOMPARE(log, (QStringList{"banner:received", "interstitial:i-received", "mixed:received",
                                   "mixed:i-received", "banner:failed(" + TSKRequestError::Domain + ")", "interstitial:i-failed(" + TSKRequestError::Domain + ")",
                                   "banner:willPresent", "interstitial:i-willPresent", "banner:willDismiss",
                                   "interstitial:i-willDismiss", "banner:didDismiss", "interstitial:i-didDismiss",
                                   "banner:willLeave", "interstitial:i-willLeave"}));

        // A banner-form delegate cannot take an ad of another class.
        log.clear();
        OtherAd other;
        TSKDelegateManager otherManager;
        otherManager.addDelegate(&banner, &other);
        otherManager.addDelegate(&interstitial, &other);
        otherManager.didReceiveAd();
        QCOMPARE(log, QStringList{"interstitial:i-received"});
    }

    void registrationsDecideWhoHears()
    {
        QStringList log;
        AdView view;
        TSKDelegateManager manager;
        sendAllEvents(manager);  // nobody registered: nothing happens
        QCOMPARE(manager.publisherDelegateContainer(), nullptr);

        BannerDelegate internal("internal", &log), publisher("publisher", &log), muted("muted", &log);
        manager.addDelegate(&internal, &view)->setInternal(true);
        TSKDelegateContainer *first = manager.addDelegate(&publisher, &view);
        TSKDelegateContainer *second = manager.addDelegate(&publisher, nullptr);
        manager.addDelegate(&muted, &view)->setDisabled(true);
        QCOMPARE(manager.publisherDelegateContainer(), first);
        QCOMPARE(manager.containerForDelegate(&publisher), first);

        manager.didReceiveAd();
        QCOMPARE(log, (QStringList{"internal:received", "publisher:received", "publisher:received(no ad)"}));

        log.clear();
        manager.removeDelegate(&publisher);
        QCOMPARE(manager.containerForDelegate(&publisher), second);
        QCOMPARE(manager.delegateContainers().size(), 3);
        {
            BannerDelegate gone("gone", &log);
            manager.addDelegate(&gone, &view);
        }
        manager.didDismissScreen();
        QCOMPARE(log, (QStringList{"internal:didDismiss", "publisher:didDismiss(no ad)"}));
        QVERIFY(!TSKDelegateContainer(nullptr, &view).didYouNilOutYourDelegate(Selector("adViewDidReceiveAd", {})));
    }

    void aDelegateMayDestroyTheAdDuringTheRound()
    {
        QStringList log;
        AdView view;
        auto manager = std::make_unique<TSKDelegateManager>();
        BannerDelegate destroyer("destroyer", &log), later("later", &log);
        destroyer.onCall = [&] { manager.reset(); };
        manager->addDelegate(&destroyer, &view);
        manager->addDelegate(&later, &view);
        manager->willLeaveApplication();
        QVERIFY(!manager);
        QCOMPARE(log, (QStringList{"destroyer:willLeave", "later:willLeave"}));
    }

    void leavingTheApplicationDuringAClickIsRecorded()
    {
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        TSKDelegateManager manager;
        manager.willLeaveApplication();
        QVERIFY(!statistics->parameters().contains("pclb"));
        statistics->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        manager.willLeaveApplication();
        QCOMPARE(statistics->parameters().value("pclb").toInt(), 1);
    }

    void eventsFromAWorkerArriveOnTheGuiThreadFirst()
    {
        QStringList log;
        AdView view;
        BannerDelegate banner("banner", &log);
        TSKDelegateManager manager;
        manager.addDelegate(&banner, &view);

        qsizetype seenByWorker = -1;
        std::unique_ptr<QThread> worker(QThread::create([&] {
            manager.didFailToReceiveAdWithError(Error{"AdErrors", 3, {}});
            seenByWorker = log.size();
        }));
        worker->start();
        QTRY_VERIFY(worker->isFinished());
        QCOMPARE(seenByWorker, 1);
        QCOMPARE(log, QStringList{"banner:failed(AdErrors)"});
        QCOMPARE(banner.threads, QList<QThread *>{QThread::currentThread()});
    }
};

VELMORA_TEST_MAIN(TestDelegateManager)
#include "tst_delegatemanager.moc"
