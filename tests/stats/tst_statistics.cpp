#include "Application.h"
#include "MonotonicClock.h"
#include "NotificationCenter.h"
#include "PropertyList.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "Timing/TSKTimingManager.h"
#include "UserDefaults.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QDateTime>
#include <QProcess>
#include <QTemporaryDir>

using namespace Velmora::Platform;

namespace {

// One launch of the tool; the request parameters it printed, one map per "params".
void launch(const QString &home, const QStringList &actions, QList<QVariantMap> *reports = nullptr)
{
    QProcess tool;
    tool.start(QStringLiteral(STATS_TOOL), QStringList{home} + actions);
    QVERIFY(tool.waitForFinished(30000) && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0);
    for (const QByteArray &line : tool.readAllStandardOutput().split('\n')) {
        if (reports && line.startsWith("<dict"))
            reports->append(PropertyList::fromXml(line).value_or(QVariant()).toMap());
    }
}

}  // namespace

// Timings and the statistics reported with every ad request, on a clock the test moves.
class TestStatistics : public QObject
{
    Q_OBJECT
    double now_ = 500.0;
    TSKStatistics *statistics_ = nullptr;

private slots:
    void init()
    {
        now_ = 500.0;
        MonotonicClock::setSource([this] { return now_; });
        TSKStatistics::releaseSharedStatistics();
        for (const char *key : {"tiskos_stats_shared", "tiskos_timing_shared", "tiskos_timing_test"})
            UserDefaults::standard().removeObjectForKey(key);
        statistics_ = TSKStatistics::sharedStatistics();
    }

    void cleanup() { MonotonicClock::setSource({}); }

    void timingStatesAndMilliseconds()
    {
        TSKTiming timing("prl");
        timing.end();  // never started: nothing to end
        QCOMPARE(timing.endSeconds(), 0.0);
        timing.start();
        now_ += 0.7509;
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("750"));  // cut, not rounded
        timing.end();
        QVERIFY(!timing.isActive());
        now_ += 10;
        QCOMPARE(timing.elapsedMilliseconds(), 750u);
        timing.end();  // an ended timing moves on to a later end
        QCOMPARE(timing.elapsedMilliseconds(), 10750u);

        now_ = 1000.0;
        timing.start();  // restarts from now
        now_ = 1000.0 + 4294967.296;
        QCOMPARE(timing.elapsedMilliseconds(), 4294967295u);  // saturated
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("-1"));
        now_ = 1000.0 + 4294967.294;
        QCOMPARE(timing.elapsedMilliseconds(), 4294967294u);
        now_ = 5.0;  // a start stored before a reboot lies ahead of the restarted clock
        QCOMPARE(timing.elapsedMillisecondsString(), QStringLiteral("0"));
        now_ = 2.5;
        QCOMPARE(TSKTiming("idle").elapsedMilliseconds(), 2500u);  // never started: the clock itself
    }

    void storedTimingsKeepTheirDataAndSkipWrongShapes()
    {
        TSKTiming timing("pcl");
        QVERIFY(!timing.dictionaryRepresentation().contains("userData"));
        timing.setValueForKey(QVariant(), "pit");  // creates the data, stores nothing
        QCOMPARE(timing.dictionaryRepresentation().value("userData"), QVariant(QVariantMap()));
        timing.setValueForKey("abc", "pit");
        timing.setValueForKey(QVariant(), "pit");
        timing.start();
        now_ += 2;
        timing.end();
        const auto timings = TSKTimingManager::timingsFromStoredForm(QVariantMap{
            {"renamed", timing.dictionaryRepresentation()},
            {"odd", QVariantMap{{"category", "x"}, {"start", "soon"}, {"userData", 3}}},
            {"no category", QVariantMap{{"start", 1.0}}},
            {"numeric category", QVariantMap{{"category", 7}}},
            {"junk", "text"}});
        QCOMPARE(timings.size(), size_t(2));
        // Kept under the stored key, not under the timing's own category.
        QCOMPARE(timings.at("renamed")->dictionaryRepresentation(), timing.dictionaryRepresentation());
        QCOMPARE(timings.at("renamed")->valueForKey("pit"), QVariant("abc"));
        QCOMPARE(timings.at("odd")->startSeconds(), 0.0);
        QCOMPARE(timings.at("odd")->keysAndValues(), QVariantMap());
        QVERIFY(TSKTimingManager::timingsFromStoredForm(QVariant("not a dictionary")).empty());
    }

    // Loading and saving on synchronize and destruction show in the restart test below.
    void managerKeepsOneTimingPerCategoryAndSavesOnTermination()
    {
        TSKTimingManager manager("test");
        QVERIFY(!manager.addTimingWithCategory(QString()));
        manager.addTimingWithCategory("b")->start();
        manager.addTiming(TSKTiming("b"));  // replaces the running one
        QCOMPARE(manager.categories(), QStringList{"b"});
        QVERIFY(!manager.timingForCategory("b")->isActive());
        NotificationCenter::defaultCenter()->postNotificationName(Application::WillTerminateNotification);
        QCOMPARE(UserDefaults::standard().dictionaryForKey("tiskos_timing_test").keys(), QStringList{"b"});
    }

    void secondRequestCarriesOnlyTheRunningTotals()
    {
        statistics_->incrementAdRequestCount();
        statistics_->startTimingNamed("ptime");
        statistics_->startTimingNamed("prl");
        statistics_->startTimingNamed("ppcl");  // no click follows: never reported
        statistics_->incrementPageNavigationCount();
        statistics_->incrementPageNavigationCount();
        statistics_->incrementSSLPageNavigationCount();
        statistics_->incrementClickCount();
        statistics_->setBreakOutToBrowser();
        statistics_->setAppOpenInterstitialTimeOut();
        statistics_->setAppOpenInterstitialNoFill();
        now_ += 0.3;
        QCOMPARE(statistics_->parameters(),
                 (QVariantMap{{"preqs", qint64(1)}, {"pcbo", qint64(1)}, {"aoi_timedout", qint64(1)},
                              {"aoi_nofill", qint64(1)}, {"plpnc", qint64(2)}, {"plpsnc", qint64(1)},
                              {"pcc", qint64(1)}, {"prl", "300"}, {"ptime", "300"}}));
        QVERIFY(!statistics_->timingNamed("ppcl"));

        statistics_->incrementAdRequestCount();
        now_ += 1;
        QCOMPARE(statistics_->parameters(), (QVariantMap{{"preqs", qint64(2)}, {"ptime", "1300"}}));
    }

    void clickStartsItsTimingsAndCarriesItsIdentifiers()
    {
        statistics_->startTimingNamed("ppcl");
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/trk/early"));  // no click yet: nothing keeps it
        now_ += 2;
        const QUrl click("http://127.0.0.1:8470/click?ai=Q%3D&x=1");
        QCOMPARE(statistics_->urlForClick(click), click);
        QVERIFY(statistics_->isTimingClick());
        QVERIFY(!statistics_->timingNamed("pcrl")->isActive());
        // The impression ticket: the tracking path after its first four characters, from the ad network only.
        const auto ticket = [this] { return statistics_->timingNamed("pcl")->valueForKey("pit"); };
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/abc"));
        statistics_->addClickTrackingURL(QUrl("http://tracker.example/abcdefg"));
        QVERIFY(!ticket().isValid());
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/abcd"));
        QCOMPARE(ticket().toString(), QStringLiteral("d"));
        // The click domain and its subdomains, not hosts that merely end alike.
        TSKNetworkConfiguration::setClickTrackingDomainSuffix("ads.example");
        const std::pair<QString, bool> hosts[] = {
            {"evil-ads.example", false}, {"trk.ads.example", true}, {"ads.example.evil", false}, {"ads.example", true}};
        for (const auto &[host, kept] : hosts) {
            statistics_->addClickTrackingURL(QUrl("http://" + host + "/trk/" + host));
            QVERIFY2((ticket().toString() == "/" + host) == kept, qPrintable(host));
        }
        TSKNetworkConfiguration::setClickTrackingDomainSuffix(QString());
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1/trk/ticket?q=1"));
        now_ += 5;
        statistics_->endTimingNamed("pcl");
        // Bridge messages and blank pages are not clicks.
        for (const QUrl &notClick : {QUrl("tsmsg:///click?ai=1"), QUrl("tiskos://open"), QUrl("about:blank")})
            QCOMPARE(statistics_->urlForClick(notClick), notClick);

        QCOMPARE(statistics_->parameters(), (QVariantMap{{"pcl", "5000"}, {"pai", "Q%3D"}, {"pit", "/ticket"},
                                                         {"ppcl", "2000"}, {"pcrl", "0"}, {"pcc", qint64(1)}}));
        QVERIFY(!statistics_->timingNamed("pcl"));

        // A click that left the app is measured on the wall clock, whichever way
        // it was set since; an hour either way leaves ten minutes of slack.
        for (int hours : {-1, 1}) {
            statistics_->urlForClick(QUrl("http://127.0.0.1:8470/c?ai=7"));
            statistics_->setClickBackgroundedApp();
            statistics_->timingNamed("pcl")->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(hours * 3600), "date");
            const QVariantMap parameters = statistics_->parameters();
            QCOMPARE(parameters.value("pcl").typeId(), int(QMetaType::LongLong));
            QVERIFY(qAbs(parameters.value("pcl").toLongLong() - 3600 * 1000) < 600 * 1000);
            QVERIFY(!parameters.contains("date"));
            QCOMPARE(parameters.value("pclb"), QVariant(qint64(1)));
            QCOMPARE(parameters.value("pai"), QVariant("7"));
        }
        QVERIFY(!statistics_->parameters().contains("pclb"));
    }

    void damagedStoresStartEmpty()
    {
        const QVariantMap badTimings{{"ptime", "x"}, {"prl", QVariantMap{{"category", 5}}}, {"pcl", QVariantList{}}};
        for (const QVariant &badStats : {QVariant("not a dictionary"), QVariant(QVariantMap{{"preqs", "5"}, {"pcc", "x"}})}) {
            TSKStatistics::releaseSharedStatistics();
            UserDefaults::standard().setObjectForKey(badStats, "tiskos_stats_shared");
            UserDefaults::standard().setObjectForKey(badTimings, "tiskos_timing_shared");
            statistics_ = TSKStatistics::sharedStatistics();
            statistics_->incrementAdRequestCount();
            QCOMPARE(statistics_->parameters(), (QVariantMap{{"preqs", qint64(1)}}));  // text counts as nothing
        }
    }

    // Every launch is its own process over the same store.
    void countersFlagsAndTimingsSurviveARestart()
    {
        QTemporaryDir home;
        const QString url = QStringLiteral("http://127.0.0.1:8470/c?ai=zz");
        launch(home.path(), {"request", "navigate", "click", url, "backgrounded", "sync", "crash"});
        launch(home.path(), {"navigate", "crash"});  // never saved
        launch(home.path(), {"navigate"});           // saved on the way out
        QList<QVariantMap> second, third;
        launch(home.path(), {"request", "params", "request", "params"}, &second);
        QCOMPARE(second.size(), 2);
        QVariantMap afterRestart = second[0];
        QVERIFY(afterRestart.remove("pcl") && afterRestart.remove("ptime"));
        QCOMPARE(afterRestart, (QVariantMap{{"preqs", qint64(2)}, {"plpnc", qint64(2)}, {"pcc", qint64(1)},
                                            {"pclb", qint64(1)}, {"pai", "zz"}, {"pcrl", "0"}}));
        QCOMPARE(QStringList(second[1].keys()), (QStringList{"preqs", "ptime"}));
        QCOMPARE(second[1].value("preqs"), QVariant(qint64(3)));

        // The steady clock is shared by all processes, so the running timing only grows.
        launch(home.path(), {"params"}, &third);
        QCOMPARE(third.size(), 1);
        QCOMPARE(QStringList(third[0].keys()), (QStringList{"preqs", "ptime"}));  // what was reported stays reported
        QCOMPARE(third[0].value("preqs"), QVariant(qint64(3)));
        QVERIFY(third[0].value("ptime").toString().toLongLong() >= second[1].value("ptime").toString().toLongLong());
    }
};

VELMORA_TEST_MAIN(TestStatistics)
#include "tst_statistics.moc"
