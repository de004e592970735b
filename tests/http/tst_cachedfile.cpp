#include "CachedFileRecorder.h"
#include "HttpTestServer.h"
#include "TestMain.h"
#include "URLConnection.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimeZone>

namespace {

const QByteArray lastModified = "Tue, 15 Nov 2011 08:12:31 GMT";
const QDateTime lastModifiedInstant(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());

// Serves `body` with a Last-Modified date and honours If-Modified-Since by
// exact comparison with the date written without its zone word.
void serveStatic(HttpTestServer &server, const QString &path, const QByteArray &body)
{
    server.on(path, [body](const QHttpServerRequest &request, QHttpServerResponder &responder) {
        if (request.value("If-Modified-Since") == "Tue, 15 Nov 2011 08:12:31")
            HttpTestServer::respond(responder, 304, {}, {});
        else
            HttpTestServer::respond(responder, 200, {{"Last-Modified", lastModified}}, body);
    });
}

QDateTime fileTime(const TSKCachedFile &file)
{
    return QFileInfo(file.filePath()).fileTime(QFileDevice::FileModificationTime).toUTC();
}

// A full exchange with the server: callbacks queued before it have run by the
// time it ends, so a missing callback is really missing.
void roundTrip(HttpTestServer &server)
{
    CachedFileRecorder recorder;
    TSKCachedFile barrier(&recorder, server.url("/barrier"));
    barrier.validate();
    QTRY_COMPARE(recorder.endings(), 1);
}

// Runs one download to its end.
void fetch(TSKCachedFile &file, CachedFileRecorder &recorder)
{
    const int before = recorder.endings();
    file.validate();
    QTRY_COMPARE_WITH_TIMEOUT(recorder.endings(), before + 1, 20000);
}

}  // namespace

class TestCachedFile : public QObject
{
    Q_OBJECT
private slots:
    void revalidatesWithTheServersOwnDate()
    {
        HttpTestServer server;
        serveStatic(server, "/core.js", "var core = 1;");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/core.js"));
        QVERIFY(file.description().contains("HTTP code: 0\n\turl: " + server.url("/core.js").toString()));
        QVERIFY(!file.hasContent());
        QVERIFY(file.fileModificationDate().isNull());

        fetch(file, recorder);
        QCOMPARE(recorder.ended, 1);
        QVERIFY(server.requestsTo("/core.js")[0].header("If-Modified-Since").isNull());
        QCOMPARE(file.content(), "var core = 1;");
        QCOMPARE(file.httpStatusCode(), 200);
        QCOMPARE(file.httpHeaders().value("Last-Modified").toByteArray(), lastModified);
        QCOMPARE(fileTime(file), lastModifiedInstant);
        QCOMPARE(file.fileModificationDate(), "Tue, 15 Nov 2011 08:12:31");
        QVERIFY(file.description().contains("HTTP code: 200\n\turl: "));
        QVERIFY(file.description().endsWith("\tfile: " + file.filePath()));

        // The second fetch is conditional; a 304 leaves the file alone.
        fetch(file, recorder);
        QCOMPARE(recorder.ended, 2);
        QCOMPARE(server.requestsTo("/core.js")[1].header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(file.httpStatusCode(), 304);
        QCOMPARE(file.content(), "var core = 1;");
        QCOMPARE(fileTime(file), lastModifiedInstant);
    }

    void unusableAnswersKeepTheEarlierFile_data()
    {
        // What the server sends once the file is cached; the error code
        // expected, 0 for none. The connection closes after the bytes.
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("code");
        QTest::newRow("404") << QByteArray("HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone") << 0;
        QTest::newRow("500") << QByteArray("HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n") << 0;
        QTest::newRow("closed mid-body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\npartial")
                                         << int(URLConnection::NetworkConnectionLost);
        QTest::newRow("promised body never sent") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n")
                                                  << int(URLConnection::NetworkConnectionLost);
        QTest::newRow("closed before answering") << QByteArray() << int(URLConnection::NetworkConnectionLost);
        QTest::newRow("garbage") << QByteArray("\x01\x02 maybe\r\n\r\nbad ad") << int(URLConnection::NetworkConnectionLost);
        QTest::newRow("redirect loop") << QByteArray("HTTP/1.1 302 Found\r\nLocation: /ad\r\nContent-Length: 0\r\n\r\n")
                                       << int(URLConnection::HTTPTooManyRedirects);
        QTest::newRow("connection refused") << QByteArray("refuse") << int(URLConnection::CannotConnectToHost);
    }

    void unusableAnswersKeepTheEarlierFile()
    {
        QFETCH(QByteArray, answer);
        QFETCH(int, code);
        HttpTestServer server;
        serveStatic(server, "/ad", "good ad");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/ad"));
        fetch(file, recorder);
        const QDateTime before = fileTime(file);

        server.on("/ad", [answer](const QHttpServerRequest &, QHttpServerResponder &responder) {
            HttpTestServer::respondRaw(responder, answer);
        });
        if (answer == "refuse")
            server.refuseConnections();
        TSKCachedFile again(&recorder, server.url("/ad"));
        fetch(again, recorder);
        roundTrip(server);  // a second report would have arrived by now
        QCOMPARE(recorder.ended, 1);
        QCOMPARE(recorder.failures.size(), 1);
        QCOMPARE(recorder.failures[0].has_value(), code != 0);
        if (code) {
            QCOMPARE(recorder.failures[0]->code, code);
            QVERIFY(!recorder.failures[0]->localizedDescription().isEmpty());
        }
        if (code == URLConnection::HTTPTooManyRedirects)
            QCOMPARE(server.requestsTo("/ad").size() - 1, URLConnection::maximumRedirects + 1);
        QCOMPARE(file.content(), "good ad");
        QCOMPARE(fileTime(file), before);
    }

    void unwritableCachesDirectoryFailsOnce()
    {
        HttpTestServer server;
        server.reply("/ad", 200, {}, "ad");
        // Even root cannot create a directory where a file stands.
        QTemporaryDir home;
        QFile blocker(home.filePath(".qttest"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QByteArray realHome = qgetenv("HOME");
        qputenv("HOME", home.path().toUtf8());
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/ad"));
        QVERIFY(file.filePath().startsWith(home.path()));
        qputenv("HOME", realHome);

        fetch(file, recorder);
        QCOMPARE(recorder.ended, 0);
        QCOMPARE(recorder.failures.size(), 1);
        QVERIFY(recorder.failures[0].has_value());
        QCOMPARE(recorder.failures[0]->domain, "NSCocoaErrorDomain");
        QCOMPARE(recorder.failures[0]->userInfo.value("filePath").toString(), file.filePath());
        QVERIFY(!file.hasContent());
    }

    void oddButCompleteAnswers()
    {
        HttpTestServer server;
        server.reply("/empty", 200, {}, {});
        server.reply("/undated", 200, {{"Last-Modified", "yesterday GMT"}}, "undated");
        CachedFileRecorder recorder;
        TSKCachedFile empty(&recorder, server.url("/empty"));
        fetch(empty, recorder);
        // An empty 200 is a complete answer ("no fill"): the file exists and is empty.
        QCOMPARE(recorder.ended, 1);
        QVERIFY(empty.hasContent());
        QVERIFY(!empty.content().isNull());
        QVERIFY(empty.content().isEmpty());

        // An unreadable date leaves the file with the time it was written,
        // which the next request then offers.
        const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
        TSKCachedFile undated(&recorder, server.url("/undated"));
        fetch(undated, recorder);
        QCOMPARE(undated.content(), "undated");
        QVERIFY(fileTime(undated) >= before);
        // The second 200 rewrites the file, so its time must be read before.
        const QByteArray offered = undated.fileModificationDate().toLatin1();
        fetch(undated, recorder);
        QCOMPARE(server.requestsTo("/undated").last().header("If-Modified-Since"), offered);
        QCOMPARE(recorder.ended, 3);
    }

    void validateWhileRunningAndCancel()
    {
        HttpTestServer server;
        server.reply("/ad", 200, {}, "ad");
        CachedFileRecorder recorder;
        TSKCachedFile file(&recorder, server.url("/ad"));
        file.validate();
        file.validate();
        file.validateWithCacheBuster();
        QTRY_COMPARE(recorder.endings(), 1);
        QCOMPARE(server.requestsTo("/ad").size(), 1);

        // A cancelled download reports nothing, even once the server has answered.
        file.validate();
        file.cancel();
        roundTrip(server);
        QCOMPARE(recorder.endings(), 1);

        file.invalidate();
        QVERIFY(!file.hasContent());
    }

    void objectsForOneURLShareOneFile()
    {
        HttpTestServer server;
        serveStatic(server, "/shared", "shared body");
        CachedFileRecorder recorder;
        TSKCachedFile first(&recorder, server.url("/shared"));
        TSKCachedFile second(&recorder, server.url("/shared"));
        TSKCachedFile other(&recorder, server.url("/shared?v=2"));
        QCOMPARE(first.filePath(), second.filePath());
        QVERIFY(first.filePath() != other.filePath());
        QVERIFY(first.filePath().contains("/127.0.0.1/"));

        fetch(first, recorder);
        QVERIFY(second.hasContent());
        QCOMPARE(second.content(), "shared body");

        // The cache buster changes the request, never the file.
        const double before = QDateTime::currentSecsSinceEpoch() - 978307200.0;
        second.validateWithCacheBuster();
        QTRY_COMPARE(recorder.endings(), 2);
        const HttpTestServer::Request busted = server.requestsTo("/shared").last();
        const double unique = busted.query.queryItemValue("unique").toDouble();
        QVERIFY2(unique >= before - 1 && unique <= before + 60, qPrintable(busted.query.toString()));
        QCOMPARE(busted.header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(second.httpDestinationURL().query(), busted.query.toString());
        QCOMPARE(second.filePath(), first.filePath());
        QCOMPARE(recorder.ended, 2);
    }

    void redirectsAskTheDelegate()
    {
        HttpTestServer server;
        server.reply("/click", 302, {{"Location", "/landing"}, {"X-Tiskos-Tracking-Urls", "t1"}});
        server.reply("/landing", 200, {}, "landing page");
        CachedFileRecorder recorder;
        TSKCachedFile followed(&recorder, server.url("/click"));
        fetch(followed, recorder);
        QCOMPARE(recorder.redirectURLs, QList<QUrl>{server.url("/landing")});
        QCOMPARE(followed.httpDestinationURL(), server.url("/landing"));
        QCOMPARE(followed.content(), "landing page");

        CachedFileRecorder refusing;
        refusing.refusedURL = server.url("/landing");
        TSKCachedFile refused(&refusing, server.url("/click"));
        refused.invalidate();
        fetch(refused, refusing);
        roundTrip(server);
        QCOMPARE(refusing.ended, 0);
        QCOMPARE(refusing.failures.size(), 1);
        QCOMPARE(refusing.failures[0], std::optional<Error>(refusing.refusal));
        QCOMPARE(refused.httpStatusCode(), 302);
        QCOMPARE(refused.httpHeaders().value("X-Tiskos-Tracking-Urls").toString(), "t1");
        QCOMPARE(refused.httpDestinationURL(), server.url("/landing"));
        QCOMPARE(server.requestsTo("/landing").size(), 1);
        QVERIFY(!refused.hasContent());
    }
};

VELMORA_TEST_MAIN(TestCachedFile)
#include "tst_cachedfile.moc"
