#include "HttpTestSupport.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "Timing/TSKTiming.h"
#include "URLConnection.h"
#include "Utility/TSKNetworkConfiguration.h"

#include <QTimeZone>

namespace {

const QByteArray lastModified = "Tue, 15 Nov 2011 08:12:31 GMT";
const QDateTime lastModifiedInstant(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());
const QUrl storeLink("velmora-store://app/42?ref=ad");

// Answers If-Modified-Since with 304 only when it is the date without its zone word.
void serveStatic(HttpTestServer &server, const QString &path, const QByteArray &body)
{
    server.on(path, [body](const QHttpServerRequest &request, QHttpServerResponder &responder) {
        if (request.value("If-Modified-Since") == "Tue, 15 Nov 2011 08:12:31")
            HttpTestServer::respond(responder, 304, {}, {});
        else
            HttpTestServer::respond(responder, 200, {{"Last-Modified", lastModified}}, body);
    });
}

}  // namespace

// The cached file, and the click tracker that downloads through one.
class TestDownloads : public QObject
{
    Q_OBJECT
private slots:
    void revalidatesWithTheDateItWasGiven()
    {
        HttpTestServer server;
        serveStatic(server, "/core.js", "var core = 1;");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/core.js"));
        QVERIFY(file.fileModificationDate().isNull());

        QVERIFY(fetch(file, recorder));
        QCOMPARE(fileTime(file.filePath()), lastModifiedInstant);
        QVERIFY(file.description().contains("HTTP code: 200\n\turl: " + server.url("/core.js").toString()));
        QVERIFY(file.description().endsWith("\tfile: " + file.filePath()));

        // Offered the date without its zone word, the server answers 304, which leaves the file alone.
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.httpStatusCode(), 304);
        QCOMPARE(file.content(), "var core = 1;");
        QCOMPARE(fileTime(file.filePath()), lastModifiedInstant);

        // An unreadable date leaves the file with the time it was written, which
        // the next request offers. Read it before the second 200 rewrites the file.
        server.reply("/undated", 200, {{"Last-Modified", "yesterday GMT"}}, "undated");
        TSKCachedFile undated(&recorder, server.url("/undated"));
        QVERIFY(fetch(undated, recorder));
        const QByteArray offered = undated.fileModificationDate().toLatin1();
        QVERIFY(!offered.isEmpty());
        QVERIFY(fetch(undated, recorder));
        QCOMPARE(server.requestsTo("/undated").last().header("If-Modified-Since"), offered);

        // An empty 200 is a complete answer ("no fill"): the file exists and is empty.
        server.reply("/empty", 200, {}, {});
        TSKCachedFile empty(&recorder, server.url("/empty"));
        QVERIFY(fetch(empty, recorder));
        QVERIFY(!empty.content().isNull() && empty.content().isEmpty());
        QCOMPARE(recorder.ended, 5);
    }

    // Each fault ends a download and a tracking in exactly one failure report
    // with the error code given (0: none) and leaves the file cached earlier as it was.
    void faultsFailOnceAndKeepTheEarlierFile_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("code");
        QTest::newRow("404") << QByteArray("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone") << 0;
        QTest::newRow("500") << QByteArray("HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n") << 0;
        const int lost = URLConnection::NetworkConnectionLost;
        QTest::newRow("closed mid-body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\npartial") << lost;
        QTest::newRow("promised body never sent") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n") << lost;
        QTest::newRow("closed before answering") << QByteArray() << lost;
        QTest::newRow("garbage") << QByteArray("\x01\x02 maybe\r\n\r\nbad ad") << lost;
        QTest::newRow("redirect loop") << QByteArray("HTTP/1.1 302 Found\r\nLocation: /ad\r\nContent-Length: 0\r\n\r\n")
                                       << int(URLConnection::HTTPTooManyRedirects);
        QTest::newRow("connection refused") << QByteArray("refuse") << int(URLConnection::CannotConnectToHost);
        // A good answer, but the caches directory cannot be made: even root
        // cannot create a directory where a file stands.
        QTest::newRow("unwritable caches directory") << QByteArray("unwritable") << 513;
    }
    void faultsFailOnceAndKeepTheEarlierFile()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, code);
        HttpTestServer server;
        serveStatic(server, "/ad", "good ad");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/ad"));
        QVERIFY(fetch(file, recorder));

        QTemporaryDir home;
        const QByteArray realHome = qgetenv("HOME");
        if (answer == "unwritable") {
            QVERIFY(QFile(home.filePath(".qttest")).open(QIODevice::WriteOnly));
            qputenv("HOME", home.path().toUtf8());
        } else {
            server.on("/ad", [answer](const QHttpServerRequest &, QHttpServerResponder &responder) {
                responder.socket()->write(answer);  // as it is, then hang up
                responder.socket()->disconnectFromHost();
            });
        }
        if (answer == "refuse")
            server.refuseConnections();
        TSKCachedFile again(&recorder, server.url("/ad"));
        QVERIFY(fetch(again, recorder));
        if (code == URLConnection::HTTPTooManyRedirects)
            QCOMPARE(server.requestsTo("/ad").size() - 1, URLConnection::maximumRedirects + 1);
        TrackerRecorder trackerRecorder;
        TSKClickTracker tracker;
        tracker.setDelegate(&trackerRecorder);
        QVERIFY(track(tracker, trackerRecorder, server.url("/ad?tracking")));
        qputenv("HOME", realHome);
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.ended, 1);
        QVERIFY(trackerRecorder.redirects.isEmpty());
        for (const QList<std::optional<Error>> &failures : {recorder.failures, trackerRecorder.failures}) {
            QCOMPARE(failures.size(), 1);
            QCOMPARE(failures[0].has_value(), code != 0);
            if (code) {
                QCOMPARE(failures[0]->code, code);
                QVERIFY(!failures[0]->localizedDescription().isEmpty());
            }
        }
        QVERIFY(!TSKClickTracker::activeTrackings());
        QCOMPARE(file.content(), "good ad");
        QCOMPARE(fileTime(file.filePath()), lastModifiedInstant);
    }

    void objectsForOneURLShareOneFile()
    {
        HttpTestServer server;
        serveStatic(server, "/shared", "shared body");
        CachedFileRecorder recorder;
        TSKCachedFile first(&recorder, server.url("/shared"));
        TSKCachedFile second(&recorder, server.url("/shared"));
        QCOMPARE(first.filePath(), second.filePath());
        QVERIFY(first.filePath() != TSKCachedFile(&recorder, server.url("/shared?v=2")).filePath());
        QVERIFY(first.filePath().contains("/127.0.0.1/"));
        // Validating while running starts nothing new.
        first.validate();
        first.validateWithCacheBuster();
        QVERIFY(fetch(first, recorder));
        QCOMPARE(server.requestsTo("/shared").size(), 1);
        QCOMPARE(second.content(), "shared body");

        // The cache buster (seconds since 2001) changes the request, never the file.
        const double before = QDateTime::currentSecsSinceEpoch() - 978307200.0;
        second.validateWithCacheBuster();
        QVERIFY(waitFor([&] { return recorder.endings() == 2; }));
        const HttpTestServer::Request busted = server.requestsTo("/shared").last();
        const double unique = busted.query.queryItemValue("unique").toDouble();
        QVERIFY2(unique >= before - 1 && unique <= before + 600, qPrintable(busted.query.toString()));
        QCOMPARE(busted.header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(second.httpDestinationURL().query(), busted.query.toString());
        // A cancelled download reports nothing, even once the server has answered.
        first.validate();
        first.cancel();
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.ended, 2);
        first.invalidate();
        QVERIFY(!second.hasContent());
    }

    void refusedRedirectFailsWithTheRefusal()
    {
        HttpTestServer server;
        server.reply("/click", 302, {{"Location", "/landing"}, {"X-Tiskos-Tracking-Urls", "t1"}});
        CachedFileRecorder recorder;
        recorder.refusedURL = server.url("/landing");
        TSKCachedFile refused(&recorder, server.url("/click"));
        QVERIFY(fetch(refused, recorder));
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.failures, QList<std::optional<Error>>{recorder.refusal});
        QCOMPARE(recorder.ended, 0);
        QCOMPARE(refused.httpStatusCode(), 302);
        QCOMPARE(refused.httpHeaders().value("X-Tiskos-Tracking-Urls").toString(), "t1");
        QCOMPARE(refused.httpDestinationURL(), server.url("/landing"));
        QVERIFY(server.requestsTo("/landing").isEmpty());
        QVERIFY(!refused.hasContent());
    }

    void trackerReportsTheLastURLOnce()
    {
        HttpTestServer server;
        server.redirect("/ck/TICKET-9", "/landing");
        server.reply("/landing", 200, {}, "landing");
        server.redirect("/app-link", "/to-store");
        server.redirect("/to-store", storeLink.toString());
        server.reply("/broken", 500);
        TSKNetworkConfiguration::setClickTrackingDomainSuffix("127.0.0.1");
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        statistics->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        TrackerRecorder recorder;
        TSKClickTracker tracker;
        tracker.setDelegate(&recorder);
        QVERIFY(!TSKClickTracker::activeTrackings());
        tracker.trackURL(server.url("/ck/TICKET-9"));
        QVERIFY(TSKClickTracker::activeTrackings());
        QVERIFY(waitFor([&] { return recorder.reports() == 1; }));
        QCOMPARE(recorder.redirects, QList<QUrl>{server.url("/landing")});
        QVERIFY(tracker.hasTracked());
        QVERIFY(!TSKClickTracker::activeTrackings());
        QCOMPARE(statistics->timingNamed("pcl")->valueForKey("pit").toString(), "TICKET-9");

        // A failed tracking leaves the next click unticketed.
        statistics->urlForClick(QUrl("http://127.0.0.1/ad-click"));
        QVERIFY(track(tracker, recorder, server.url("/broken")));
        QVERIFY(!statistics->timingNamed("pcl")->valueForKey("pit").isValid());
        QCOMPARE(recorder.failures, QList<std::optional<Error>>{std::nullopt});
        TSKNetworkConfiguration::setClickTrackingDomainSuffix(QString());

        // Tracking again from inside a report starts a fresh tracking; leaving
        // HTTP ends it at once with the application link.
        recorder.onReport = [&] {
            if (recorder.reports() == 3)
                tracker.trackURL(server.url("/app-link"));
        };
        tracker.trackURL(server.url("/ck/TICKET-9"));
        QVERIFY(!tracker.hasTracked());
        QVERIFY(waitFor([&] { return recorder.reports() == 4; }));
        QCOMPARE(recorder.redirects, (QList<QUrl>{server.url("/landing"), server.url("/landing"), storeLink}));
        QCOMPARE(tracker.trackingURL(), storeLink);
        QVERIFY(!TSKClickTracker::activeTrackings());

        // Nil leaves a finished tracking as it was; a reset clears it.
        tracker.trackURL(QUrl());
        QVERIFY(tracker.hasTracked());
        tracker.reset();
        QVERIFY(!tracker.hasTracked());
        QCOMPARE(tracker.trackingURL(), QUrl());

        // A tracker destroyed from its own report leaves nothing behind.
        auto owned = std::make_unique<TSKClickTracker>();
        owned->setDelegate(&recorder);
        recorder.onReport = [&] { owned.reset(); };
        owned->trackURL(server.url("/app-link"));
        QVERIFY(waitFor([&] { return !owned; }));
        QCOMPARE(recorder.reports(), 5);

        // A delegate that hears nothing still ends the tracking.
        QObject deaf;
        tracker.setDelegate(&deaf);
        tracker.trackURL(server.url("/app-link"));
        QVERIFY(waitFor([&] { return tracker.hasTracked(); }));
        QVERIFY(!TSKClickTracker::activeTrackings());
    }
};

VELMORA_TEST_MAIN(TestDownloads)
#include "tst_downloads.moc"
