#include "HTTPDate.h"
#include "HttpTestSupport.h"
#include "PersistentCookieJar.h"
#include "Statistics/TSKStatistics.h"
#include "TestMain.h"
#include "Timing/TSKTiming.h"
#include "URLConnection.h"
#include "URLConnectionDelegate.h"
#include <VelmoraAds/TSKNetworkConfiguration.h>

#include <QNetworkCookie>
#include <QScopeGuard>
#include <QTimeZone>

using namespace Velmora::Platform;

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

// Flushed before the date is set, so that closing the file does not move it again.
bool writeStaticFile(const QString &path, const QByteArray &body, const QDateTime &modified)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(body) == body.size() && file.flush()
           && file.setFileTime(modified, QFileDevice::FileModificationTime);
}

// Writes down every callback, and can decline a redirect or cancel on the response.
class Recorder : public URLConnectionDelegate
{
public:
    QNetworkRequest connectionWillSendRequest(URLConnection *, const QNetworkRequest &request,
                                              const std::optional<URLResponse> &redirect) override
    {
        sentURLs.append(request.url());
        if (redirect)
            redirects.append(*redirect);
        return redirect && declineRedirectTo == request.url() ? QNetworkRequest() : request;
    }
    void connectionDidReceiveResponse(URLConnection *connection, const URLResponse &response) override
    {
        responses.append(response);
        if (cancelOnResponse)
            connection->cancel();
    }
    void connectionDidReceiveData(URLConnection *, const QByteArray &data) override { body += data; }
    void connectionDidFinishLoading(URLConnection *) override { ++finished; }
    void connectionDidFailWithError(URLConnection *, const Error &error) override { errors.append(error); }

    QList<QUrl> sentURLs;
    QList<URLResponse> redirects, responses;
    QByteArray body;
    int finished = 0;
    QList<Error> errors;
    QUrl declineRedirectTo;
    bool cancelOnResponse = false;
};

// Loads to the end, or to a timeout that the counts then show.
void load(const QNetworkRequest &request, Recorder &recorder)
{
    auto connection = URLConnection::connectionWithRequest(request, &recorder);
    waitFor([&] { return recorder.finished + recorder.errors.size() > 0; });
}

}  // namespace

// URL loading and HTTP dates, the cached file built on them, and the click tracker built on that.
class TestHttp : public QObject
{
    Q_OBJECT
private slots:
    void deliversEveryResponseOnceAndKeepsCookies()
    {
        HttpTestServer server;
        server.reply("/page", 404, {{"X-Custom", "one"}, {"X-Custom", "two"}, {"Set-Cookie", "visitor=42; Max-Age=3600; Path=/"},
                                    {"Set-Cookie", "session=1"}}, "missing page");
        server.reply("/first", 301, {{"Location", "/second"}, {"X-Hop", "1"}});
        server.redirect("/second", server.url("/third").toString());
        server.reply("/third", 200, {}, "arrived");
        Recorder page;
        load(QNetworkRequest(server.url("/page")), page);
        QCOMPARE(page.finished, 1);
        QCOMPARE(page.responses.size(), 1);
        QCOMPARE(page.responses[0].statusCode(), 404);
        QCOMPARE(page.responses[0].valueForHeaderField(u"x-custom"), "one, two");
        QCOMPARE(page.body, "missing page");

        // Every redirect goes past the delegate, and the caller's headers, its
        // User-Agent among them, travel as they are with each hop.
        QNetworkRequest request(server.url("/first"));
        request.setRawHeader("If-Modified-Since", "Tue, 15 Nov 2011 08:12:31");
        request.setRawHeader("User-Agent", "Velmora/1.0 test");
        Recorder followed;
        load(request, followed);
        QCOMPARE(followed.finished, 1);
        QCOMPARE(followed.sentURLs, (QList<QUrl>{server.url("/first"), server.url("/second"), server.url("/third")}));
        QCOMPARE(followed.redirects.size(), 2);
        QCOMPARE(followed.redirects[0].statusCode(), 301);
        QCOMPARE(followed.redirects[0].valueForHeaderField(u"X-Hop"), "1");
        QCOMPARE(followed.responses.size(), 1);
        QCOMPARE(followed.responses[0].url(), server.url("/third"));
        QCOMPARE(followed.body, "arrived");
        const HttpTestServer::Request third = server.requestsTo("/third").last();
        QCOMPARE(third.header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(third.header("User-Agent"), "Velmora/1.0 test");
        QCOMPARE(third.header("Cookie"), "visitor=42; session=1");
        // A jar made later over the same file, as the next process would; session cookies stay behind.
        const auto cookies = PersistentCookieJar(PersistentCookieJar::defaultFilePath()).cookiesForUrl(server.url("/next"));
        QCOMPARE(cookies.size(), 1);
        QCOMPARE(cookies[0].name(), "visitor");
        QCOMPARE(cookies[0].value(), "42");

        // Declining a redirect makes the redirect itself the answer; the
        // User-Agent did not stick to the shared manager.
        Recorder declining;
        declining.declineRedirectTo = server.url("/second");
        load(QNetworkRequest(server.url("/first")), declining);
        QCOMPARE(declining.finished, 1);
        QCOMPARE(declining.responses.size(), 1);
        QCOMPARE(declining.responses[0].statusCode(), 301);
        QCOMPARE(server.requestsTo("/second").size(), 1);
        QCOMPARE(server.requestsTo("/first").last().header("User-Agent"), server.requestsTo("/page")[0].header("User-Agent"));
    }

    // Nothing but http and https is fetched, first or after a redirect; the
    // delegate still sees where a redirect pointed.
    void onlyTheWebGoesOnTheWire()
    {
        HttpTestServer server;
        const QUrl passwd("file:///etc/passwd");
        server.redirect("/to-file", passwd.toString());
        for (const QUrl &url : {server.url("/to-file"), passwd, QUrl("data:text/plain,secret"), QUrl("qrc:/x")}) {
            Recorder recorder;
            load(QNetworkRequest(url), recorder);
            QCOMPARE(recorder.errors.size(), 1);
            QCOMPARE(recorder.errors[0].code, URLConnection::UnsupportedURL);
            QCOMPARE(recorder.sentURLs.last(), url.scheme() == "http" ? passwd : url);
            QVERIFY(recorder.responses.isEmpty() && recorder.body.isEmpty() && recorder.finished == 0);
        }
    }

    // Cancelled or destroyed, a connection says nothing more; and a fetch ends
    // at its deadline however steadily its bytes (delivered as they come) arrive.
    void cancelDestructionAndDeadlineEndTheConnection()
    {
        HttpTestServer server;
        server.reply("/page", 200, {}, QByteArray(200000, 'x'));
        Recorder cancelling;
        cancelling.cancelOnResponse = true;
        auto connection = URLConnection::connectionWithRequest(QNetworkRequest(server.url("/page")), &cancelling);
        QVERIFY(waitFor([&] { return cancelling.responses.size() == 1; }));
        Recorder abandoned;
        URLConnection::connectionWithRequest(QNetworkRequest(server.url("/page")), &abandoned).reset();
        QVERIFY(roundTrip(server));
        QCOMPARE(cancelling.finished + cancelling.errors.size(), 0);
        QCOMPARE(cancelling.body, QByteArray());
        QVERIFY(abandoned.sentURLs.isEmpty());
        QVERIFY(!URLConnection::connectionWithRequest(QNetworkRequest(QUrl("not a url")), &abandoned));

        server.drip("/drip", 20);
        URLConnection::setDeadlineMilliseconds(600);
        const auto restore = qScopeGuard([] { URLConnection::setDeadlineMilliseconds(URLConnection::defaultDeadlineMilliseconds); });
        Recorder dripped;
        load(QNetworkRequest(server.url("/drip")), dripped);
        QCOMPARE(dripped.errors.size(), 1);
        QCOMPARE(dripped.errors[0].code, URLConnection::TimedOut);
        QVERIFY(dripped.responses.size() == 1 && !dripped.body.isEmpty() && dripped.finished == 0);
    }

    void httpDatesAreReadOnlyInTheZonelessForm_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("any case, one-digit day") << "sun, 6 nov 1994 08:49:37" << QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), QTimeZone::utc());
        QTest::newRow("weekday not checked") << "Mon, 15 Nov 2011 08:12:31" << lastModifiedInstant;
        QTest::newRow("zone word left on") << "Tue, 15 Nov 2011 08:12:31 GMT" << QDateTime();
        QTest::newRow("obsolete long form") << "Tuesday, 15-Nov-11 08:12:31" << QDateTime();
        QTest::newRow("asctime form") << "Tue Nov 15 08:12:31 2011" << QDateTime();
        QTest::newRow("no such day") << "Tue, 31 Feb 2011 08:12:31" << QDateTime();
        QTest::newRow("hour 24") << "Tue, 15 Nov 2011 24:00:00" << QDateTime();
        QTest::newRow("foreign digits") << QString::fromUtf8("Tue, \u0661\u0665 Nov 2011 08:12:31") << QDateTime();
        QTest::newRow("cut short") << "Tue, 15 Nov 2011 08:12" << QDateTime();
        QTest::newRow("empty") << "" << QDateTime();
    }
    void httpDatesAreReadOnlyInTheZonelessForm()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const std::optional<QDateTime> parsed = HTTPDate::parse(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        QCOMPARE(parsed.value_or(QDateTime()), expected);
    }

    // Judged by a web server nobody here wrote: only the date it gave, sent back
    // as the cached file keeps it, earns a 304; a new version replaces file and date.
    void revalidatesWithTheDateItWasGiven()
    {
        NginxServer nginx;
        const QString problem = nginx.start();
        QVERIFY2(problem.isNull(), qPrintable(problem));
        const QString served = nginx.documentRoot() + "/sdk-core.js";
        QVERIFY(writeStaticFile(served, "function build() {}", lastModifiedInstant));
        // Dates go out in English and in UTC whatever the locale.
        QLocale::setDefault(QLocale(QLocale::German));
        const auto restoreLocale = qScopeGuard([] { QLocale::setDefault(QLocale::c()); });
        QCOMPARE(HTTPDate::format(QDateTime(QDate(2011, 11, 15), QTime(9, 12, 31), QTimeZone(3600))), "Tue, 15 Nov 2011 08:12:31");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, nginx.url("/sdk-core.js"));
        QVERIFY(fetch(file, recorder));
        QCOMPARE(fileTime(file.filePath()), lastModifiedInstant);
        QVERIFY(file.description().contains("HTTP code: 200\n\turl: " + nginx.url("/sdk-core.js").toString()));
        QVERIFY(file.description().endsWith("\tfile: " + file.filePath()));
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.httpStatusCode(), 304);
        QCOMPARE(file.content(), "function build() {}");
        QCOMPARE(fileTime(file.filePath()), lastModifiedInstant);
        const QDateTime republished = lastModifiedInstant.addDays(400);
        QVERIFY(writeStaticFile(served, "function build() { return 2; }", republished));
        QVERIFY(fetch(file, recorder));
        QCOMPARE(file.content(), "function build() { return 2; }");
        QCOMPARE(fileTime(file.filePath()), republished);

        // An unreadable date leaves the write time, offered next; read before the next 200 rewrites it.
        HttpTestServer server;
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
        QCOMPARE(recorder.ended, 6);
    }

    // One failure report (error code 0: none) per download or tracking; the earlier file stays.
    void faultsFailOnceAndKeepTheEarlierFile_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("code");
        QTest::newRow("404") << QByteArray("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone") << 0;
        QTest::newRow("500") << QByteArray("HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n") << 0;
        const int lost = URLConnection::NetworkConnectionLost;
        QTest::newRow("closed mid-body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\npartial") << lost;
        QTest::newRow("closed before answering") << QByteArray() << lost;
        QTest::newRow("garbage") << QByteArray("\x01\x02 maybe\r\n\r\nbad ad") << lost;
        QTest::newRow("redirect loop") << QByteArray("HTTP/1.1 302 Found\r\nLocation: /ad\r\nContent-Length: 0\r\n\r\n")
                                       << int(URLConnection::HTTPTooManyRedirects);
        QTest::newRow("connection refused") << QByteArray("refuse") << int(URLConnection::CannotConnectToHost);
        const qsizetype tooLong = TSKCachedFile::kDefaultMaximumBytes + 1;
        QTest::newRow("body longer than the maximum")
            << "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(tooLong) + "\r\n\r\n" + QByteArray(tooLong, 'x')
            << int(URLConnection::DataLengthExceedsMaximum);
        // A good answer, but not even root can make a directory where a file stands.
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
        const auto restoreHome = qScopeGuard([previous = qgetenv("HOME")] { qputenv("HOME", previous); });
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
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.ended, 1);
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

    // Objects for one URL share one file; a refused redirect fails with the refusal.
    void objectsForOneURLShareOneFileAndStopWhereTold()
    {
        HttpTestServer server;
        serveStatic(server, "/shared", "shared body");
        CachedFileRecorder recorder;
        TSKCachedFile first(&recorder, server.url("/shared"));
        TSKCachedFile second(&recorder, server.url("/shared"));
        QCOMPARE(first.filePath(), second.filePath());
        QVERIFY(first.filePath() != TSKCachedFile(&recorder, server.url("/shared?v=2")).filePath());
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
        // A cancelled download reports nothing, even once the server has answered.
        first.validate();
        first.cancel();
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.ended, 2);
        first.invalidate();
        QVERIFY(!second.hasContent());

        server.reply("/click", 302, {{"Location", "/landing"}, {"X-Tiskos-Tracking-Urls", "t1"}});
        recorder.refusedURL = server.url("/landing");
        TSKCachedFile refused(&recorder, server.url("/click"));
        QVERIFY(fetch(refused, recorder));
        QVERIFY(roundTrip(server));
        QCOMPARE(recorder.failures, QList<std::optional<Error>>{recorder.refusal});
        QCOMPARE(recorder.ended, 2);
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
        TSKNetworkConfiguration::setClickTrackingDomainSuffix(QString());

        // Tracking again inside a report starts afresh; leaving HTTP ends it with the app link.
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
        QVERIFY(!tracker.hasTracked() && tracker.trackingURL().isEmpty());

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

VELMORA_TEST_MAIN(TestHttp)
#include "tst_http.moc"
