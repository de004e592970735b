#include "MonotonicClock.h"
#include "PropertyList.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "UserDefaults.h"

#include <QDateTime>
#include <QProcess>
#include <QTemporaryDir>

namespace {

const QString StatsKey = QStringLiteral("tiskos_stats_shared");
const QString TimingKey = QStringLiteral("tiskos_timing_shared");

// One launch of the tool; its request parameters, one map per "params".
QList<QVariantMap> launch(const QString &home, const QStringList &actions)
{
    QProcess tool;
    tool.start(QStringLiteral(STATS_TOOL), QStringList{home} + actions);
    if (!tool.waitForFinished(30000) || tool.exitCode() != 0)
        return {};
    QList<QVariantMap> reports;
    const QList<QByteArray> lines = tool.readAllStandardOutput().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("<dict"))
            reports.append(PropertyList::fromXml(line).value_or(QVariant()).toMap());
    }
    return reports;
}

}  // namespace

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
        UserDefaults::standard().removeObjectForKey(StatsKey);
        UserDefaults::standard().removeObjectForKey(TimingKey);
        statistics_ = TSKStatistics::sharedStatistics();
    }

    void cleanup() { MonotonicClock::setSource({}); }

    void secondRequestCarriesOnlyTheRunningTotals()
    {
        statistics_->incrementAdRequestCount();
        statistics_->startTimingNamed("ptime");
        statistics_->startTimingNamed("prl");
        statistics_->incrementPageNavigationCount();
        statistics_->incrementPageNavigationCount();
        statistics_->incrementSSLPageNavigationCount();
        statistics_->incrementClickCount();
        statistics_->setBreakOutToBrowser();
        statistics_->setAppOpenInterstitialTimeOut();
        statistics_->setAppOpenInterstitialNoFill();
        now_ += 0.3;

        const QVariantMap first = statistics_->parameters();
        QCOMPARE(first, (QVariantMap{{"preqs", qint64(1)}, {"pcbo", qint64(1)}, {"aoi_timedout", qint64(1)},
                                     {"aoi_nofill", qint64(1)}, {"plpnc", qint64(2)}, {"plpsnc", qint64(1)},
                                     {"pcc", qint64(1)}, {"prl", "300"}, {"ptime", "300"}}));

        statistics_->incrementAdRequestCount();
        now_ += 1;
        QCOMPARE(statistics_->parameters(), (QVariantMap{{"preqs", qint64(2)}, {"ptime", "1300"}}));
        QCOMPARE(statistics_->adRequestCount(), 2);
    }

    void clickStartsItsTimingsAndCarriesItsIdentifiers()
    {
        statistics_->startTimingNamed("ppcl");
        now_ += 2;
        const QUrl click("http://127.0.0.1:8470/click?ai=Q%3D&x=1");
        QCOMPARE(statistics_->urlForClick(click), click);
        QVERIFY(statistics_->isTimingClick());
        QVERIFY(!statistics_->timingNamed("pcrl")->isActive());
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/trk/ticket"));
        now_ += 5;
        statistics_->endTimingNamed("pcl");
        QVERIFY(!statistics_->isTimingClick());

        // Bridge messages and blank pages are not clicks.
        for (const QUrl &notClick : {QUrl("tsmsg:///click?ai=1"), QUrl("tiskos://open"), QUrl("about:blank")})
            QCOMPARE(statistics_->urlForClick(notClick), notClick);

        QCOMPARE(statistics_->parameters(), (QVariantMap{{"pcl", "5000"}, {"pai", "Q%3D"}, {"pit", "/ticket"},
                                                         {"ppcl", "2000"}, {"pcrl", "0"}, {"pcc", qint64(1)}}));
        QVERIFY(!statistics_->timingNamed("pcl"));
    }

    void impressionTicketComesFromTheAdNetworksTrackingPath()
    {
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/abcdefg"));  // no click yet: nothing to keep it
        statistics_->urlForClick(QUrl("http://127.0.0.1:8470/c"));
        const auto ticket = [this] { return statistics_->timingNamed("pcl")->valueForKey("pit"); };
        QVERIFY(!ticket().isValid());

        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/abc"));
        QVERIFY(!ticket().isValid());
        statistics_->addClickTrackingURL(QUrl("http://tracker.example/abcdefg"));
        QVERIFY(!ticket().isValid());
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1:8470/abcd"));
        QCOMPARE(ticket().toString(), QStringLiteral("d"));
        statistics_->addClickTrackingURL(QUrl("http://127.0.0.1/t/i/xyz?q=1"));
        QCOMPARE(ticket().toString(), QStringLiteral("/xyz"));
    }

    void clickThatLeftTheAppReportsItsDuration()
    {
        statistics_->urlForClick(QUrl("http://127.0.0.1:8470/c?ai=7"));
        statistics_->setClickBackgroundedApp();
        statistics_->timingNamed("pcl")->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(-5), "date");

        const QVariantMap parameters = statistics_->parameters();
        QCOMPARE(parameters.value("pcl").typeId(), int(QMetaType::LongLong));
        QVERIFY(parameters.value("pcl").toLongLong() >= 5000);
        QVERIFY(parameters.value("pcl").toLongLong() < 5000 + 3600 * 1000);
        QVERIFY(!parameters.contains("date"));
        QCOMPARE(parameters.value("pclb"), QVariant(qint64(1)));
        QCOMPARE(parameters.value("pai"), QVariant("7"));
        QVERIFY(!statistics_->parameters().contains("pclb"));
    }

    void preClickTimingNeedsAClick()
    {
        statistics_->startTimingNamed("ppcl");
        QVERIFY(!statistics_->parameters().contains("ppcl"));
        QVERIFY(!statistics_->timingNamed("ppcl"));
    }

    void storeKeepsOnlyValuesOfTheNamedKind()
    {
        TSKStatisticsCore core("kinds");
        core.setNumberForKey("5", "n");
        core.setStringForKey(5, "s");
        core.setDictionaryForKey(QVariantList(), "m");
        for (const QString key : {"n", "s", "m"})
            QVERIFY(!core.numberForKey(key).isValid());
        core.setNumberForKey(2.5, "n");
        core.setStringForKey("text", "s");
        QCOMPARE(core.addValueNumberForKey(1, "n"), 3);
        QCOMPARE(core.addValueNumberForKey(4, "absent"), 4);
        QCOMPARE(core.addValueNumberForKey(1, "s"), 1);  // text is no number
    }

    void damagedStoresStartEmpty()
    {
        TSKStatistics::releaseSharedStatistics();
        UserDefaults &defaults = UserDefaults::standard();
        defaults.setObjectForKey("not a dictionary", StatsKey);
        defaults.setObjectForKey(QVariantMap{{"ptime", "x"}, {"prl", QVariantMap{{"category", 5}}},
                                             {"pcl", QVariantList{}}},
                                 TimingKey);
        statistics_ = TSKStatistics::sharedStatistics();
        QCOMPARE(statistics_->parameters(), QVariantMap());
        statistics_->incrementAdRequestCount();
        QCOMPARE(statistics_->parameters(), (QVariantMap{{"preqs", qint64(1)}}));
    }

    // Every launch is its own process over the same store.
    void countersFlagsAndTimingsSurviveARestart()
    {
        QTemporaryDir home;
        const QString url = QStringLiteral("http://127.0.0.1:8470/c?ai=zz");
        QCOMPARE(launch(home.path(), {"request", "navigate", "click", url, "backgrounded", "sync", "crash"}).size(), 0);
        QCOMPARE(launch(home.path(), {"secure-navigate", "crash"}).size(), 0);  // never saved
        QCOMPARE(launch(home.path(), {"navigate"}).size(), 0);                  // saved on the way out

        const QList<QVariantMap> second = launch(home.path(), {"request", "params", "request", "params"});
        QCOMPARE(second.size(), 2);
        const QVariantMap &afterRestart = second[0];
        QCOMPARE(afterRestart.value("preqs"), QVariant(qint64(2)));
        QCOMPARE(afterRestart.value("plpnc"), QVariant(qint64(2)));
        QCOMPARE(afterRestart.value("pcc"), QVariant(qint64(1)));
        QCOMPARE(afterRestart.value("pclb"), QVariant(qint64(1)));
        QCOMPARE(afterRestart.value("pai"), QVariant("zz"));
        QVERIFY(afterRestart.contains("pcl"));
        QVERIFY(afterRestart.contains("ptime"));
        QVERIFY(!afterRestart.contains("plpsnc"));
        QCOMPARE(QStringList(second[1].keys()), (QStringList{"preqs", "ptime"}));
        QCOMPARE(second[1].value("preqs"), QVariant(qint64(3)));

        const QList<QVariantMap> third = launch(home.path(), {"params"});
        QCOMPARE(third.size(), 1);
        QCOMPARE(third[0].value("preqs"), QVariant(qint64(3)));
        QVERIFY(third[0].value("ptime").toString().toLongLong() >= second[1].value("ptime").toString().toLongLong());
    }
};

VELMORA_TEST_MAIN(TestStatistics)
#include "tst_statistics.moc"
