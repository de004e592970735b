#include "HttpTestServer.h"
#include "Network/TSKClickTracker.h"
#include "Statistics/TSKStatistics.h"
#include "Timing/TSKTiming.h"
#include "Utility/TSKNetworkConfiguration.h"
#include "TestMain.h"
#include "URLConnection.h"

#include <functional>

// Hears both reports and can act inside them.
class TrackerDelegate : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void trackerDidRedirect(TSKClickTracker *tracker, const QUrl &url)
    {
        Q_UNUSED(tracker);
        redirects.append(url);
        if (onReport)
            onReport();
    }
    Q_INVOKABLE void trackerDidFailWithError(TSKClickTracker *, const std::optional<Error> &error)
    {
        failures.append(error);
        if (onReport)
            onReport();
    }
    int reports() const { return int(redirects.size() + failures.size()); }

    QList<QUrl> redirects;
    QList<std::optional<Error>> failures;
    std::function<void()> onReport;
};

// Implements neither report.
class SilentDelegate : public QObject
{
    Q_OBJECT
};

class TestClickTracker : public QObject
{
    Q_OBJECT
    HttpTestServer server;

private slots:
    void initTestCase()
    {
        server.redirect("/click", "/landing");
        server.reply("/landing", 200, {}, "landing");
        server.redirect("/app-link", "/to-store");
        server.redirect("/to-store", "velmora-store://app/42?ref=ad");
        server.reply("/broken", 500, {}, "oops");
        server.redirect("/ck/TICKET-9", "/landing");
    }

    void completedTrackingsTicketTheRunningClick()
    {
        TSKNetworkConfiguration::setClickTrackingDomainSuffix("127.0.0.1");
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        statistics->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        TrackerDelegate delegate;
        TSKClickTracker tracker;
        tracker.setDelegate(&delegate);
        tracker.trackURL(server.url("/ck/TICKET-9"));
        QTRY_COMPARE(delegate.reports(), 1);
        QCOMPARE(statistics->timingNamed("pcl")->valueForKey("pit").toString(), "TICKET-9");

        // A failed tracking leaves the click as it was.
        statistics->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        tracker.trackURL(server.url("/broken"));
        QTRY_COMPARE(delegate.reports(), 2);
        QVERIFY(!statistics->timingNamed("pcl")->valueForKey("pit").isValid());
        TSKNetworkConfiguration::setClickTrackingDomainSuffix(QString());
    }

    void completedTrackingsReportTheirLastURL()
    {
        TrackerDelegate delegate;
        TSKClickTracker tracker;
        tracker.setDelegate(&delegate);
        QVERIFY(!TSKClickTracker::activeTrackings());
        tracker.trackURL(server.url("/click"));
        QVERIFY(TSKClickTracker::activeTrackings());
        QTRY_COMPARE(delegate.reports(), 1);
        QCOMPARE(delegate.redirects, QList<QUrl>{server.url("/landing")});
        QVERIFY(tracker.hasTracked());
        QVERIFY(!TSKClickTracker::activeTrackings());

        // Leaving HTTP ends the tracking at once with the application link.
        tracker.trackURL(server.url("/app-link"));
        QVERIFY(!tracker.hasTracked());
        QTRY_COMPARE(delegate.reports(), 2);
        QCOMPARE(delegate.redirects.last(), QUrl("velmora-store://app/42?ref=ad"));
        QCOMPARE(tracker.trackingURL(), QUrl("velmora-store://app/42?ref=ad"));
        QVERIFY(delegate.failures.isEmpty());
        QVERIFY(!TSKClickTracker::activeTrackings());
        tracker.reset();
        QVERIFY(!TSKClickTracker::activeTrackings());
    }

    void failuresReportOnce()
    {
        TrackerDelegate delegate;
        TSKClickTracker tracker;
        tracker.setDelegate(&delegate);
        tracker.trackURL(server.url("/broken"));
        QTRY_COMPARE(delegate.reports(), 1);
        QCOMPARE(delegate.failures, QList<std::optional<Error>>{std::nullopt});

        HttpTestServer closed;
        closed.refuseConnections();
        tracker.trackURL(closed.url("/click"));
        QTRY_COMPARE(delegate.reports(), 2);
        QVERIFY(delegate.failures.last().has_value());
        QCOMPARE(delegate.failures.last()->code, int(URLConnection::CannotConnectToHost));
        QVERIFY(!TSKClickTracker::activeTrackings());

        // A delegate that hears nothing still ends the tracking.
        SilentDelegate silent;
        tracker.setDelegate(&silent);
        tracker.trackURL(server.url("/app-link"));
        QTRY_VERIFY(tracker.hasTracked());
        QVERIFY(!TSKClickTracker::activeTrackings());
    }

    void trackersAreReusable()
    {
        TrackerDelegate delegate;
        TSKClickTracker tracker;
        tracker.setDelegate(&delegate);
        tracker.trackURL(QUrl());
        QVERIFY(!tracker.hasTracked());
        QVERIFY(!TSKClickTracker::activeTrackings());

        // Tracking again from inside the report starts a fresh tracking.
        delegate.onReport = [&] {
            if (delegate.reports() == 1)
                tracker.trackURL(server.url("/app-link"));
        };
        tracker.trackURL(server.url("/click"));
        QTRY_COMPARE(delegate.reports(), 2);
        QCOMPARE(delegate.redirects,
                 (QList<QUrl>{server.url("/landing"), QUrl("velmora-store://app/42?ref=ad")}));

        // Nil leaves a finished tracking as it was; a reset clears it.
        tracker.trackURL(QUrl());
        QVERIFY(tracker.hasTracked());
        tracker.reset();
        QVERIFY(!tracker.hasTracked());
        QCOMPARE(tracker.trackingURL(), QUrl());

        // A tracker destroyed from its own report leaves nothing behind.
        auto owned = std::make_unique<TSKClickTracker>();
        owned->setDelegate(&delegate);
        delegate.onReport = [&] { owned.reset(); };
        owned->trackURL(server.url("/app-link"));
        QTRY_VERIFY(!owned);
        QCOMPARE(delegate.reports(), 3);
        QVERIFY(!TSKClickTracker::activeTrackings());
    }
};

VELMORA_TEST_MAIN(TestClickTracker)
#include "tst_clicktracker.moc"
