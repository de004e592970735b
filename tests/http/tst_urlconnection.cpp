#include "HTTPDate.h"
#include "HttpTestSupport.h"
#include "PersistentCookieJar.h"
#include "TestMain.h"
#include "URLConnection.h"
#include "URLConnectionDelegate.h"

#include <QNetworkCookie>
#include <QTimeZone>

namespace {

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

class TestURLConnection : public QObject
{
    Q_OBJECT
private slots:
    void deliversEveryResponseToTheDelegateOnce()
    {
        HttpTestServer server;
        server.reply("/page", 404, {{"X-Custom", "one"}, {"X-Custom", "two"}}, "missing page");
        server.reply("/first", 301, {{"Location", "/second"}, {"X-Hop", "1"}});
        server.redirect("/second", server.url("/third").toString());
        server.reply("/third", 200, {}, "arrived");
        Recorder page;
        load(QNetworkRequest(server.url("/page")), page);
        QCOMPARE(page.finished, 1);
        QCOMPARE(page.responses.size(), 1);
        QCOMPARE(page.responses[0].statusCode(), 404);
        QCOMPARE(page.responses[0].valueForHeaderField(u"x-custom"), "one, two");
        QCOMPARE(page.responses[0].allHeaderFields().value("X-Custom"), "one, two");
        QCOMPARE(page.body, "missing page");
        // The caller's User-Agent is sent as is and does not stick to the shared manager.
        QNetworkRequest withAgent(server.url("/page"));
        withAgent.setRawHeader("User-Agent", "Velmora/1.0 test");
        Recorder agent, plain;
        load(withAgent, agent);
        load(QNetworkRequest(server.url("/page")), plain);
        const auto pages = server.requestsTo("/page");
        QCOMPARE(pages.value(1).header("User-Agent"), "Velmora/1.0 test");
        QCOMPARE(pages.value(2).header("User-Agent"), pages[0].header("User-Agent"));

        // Every redirect goes past the delegate, and the caller's headers travel with each hop.
        QNetworkRequest request(server.url("/first"));
        request.setRawHeader("If-Modified-Since", "Tue, 15 Nov 2011 08:12:31");
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
        QCOMPARE(server.requestsTo("/third").last().header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");

        // Declining a redirect makes the redirect itself the answer.
        Recorder declining;
        declining.declineRedirectTo = server.url("/second");
        load(QNetworkRequest(server.url("/first")), declining);
        QCOMPARE(declining.finished, 1);
        QCOMPARE(declining.responses.size(), 1);
        QCOMPARE(declining.responses[0].statusCode(), 301);
        QCOMPARE(server.requestsTo("/second").size(), 1);
    }

    void cancelAndDestructionSilenceTheConnection()
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
    }

    void cookiesPersistAcrossProcesses()
    {
        HttpTestServer server;
        server.reply("/login", 200, {{"Set-Cookie", "visitor=42; Max-Age=3600; Path=/"}, {"Set-Cookie", "session=1"}});
        for (const QString path : {"/login", "/next"}) {
            Recorder recorder;
            load(QNetworkRequest(server.url(path)), recorder);
        }
        QCOMPARE(server.requestsTo("/next").value(0).header("Cookie"), "visitor=42; session=1");
        // A jar made later over the same file, as the next process would; session cookies stay behind.
        const auto cookies = PersistentCookieJar(PersistentCookieJar::defaultFilePath()).cookiesForUrl(server.url("/next"));
        QCOMPARE(cookies.size(), 1);
        QCOMPARE(cookies[0].name(), "visitor");
        QCOMPARE(cookies[0].value(), "42");
    }

    void httpDatesAreReadOnlyInTheZonelessForm_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime instant(QDate(2011, 11, 15), QTime(8, 12, 31), QTimeZone::utc());
        QTest::newRow("cut before the zone") << "Tue, 15 Nov 2011 08:12:31 " << instant;
        QTest::newRow("any case, one-digit day") << "sun, 6 nov 1994 08:49:37" << QDateTime(QDate(1994, 11, 6), QTime(8, 49, 37), QTimeZone::utc());
        QTest::newRow("weekday not checked") << "Mon, 15 Nov 2011 08:12:31" << instant;
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

    void httpDatesAreWrittenInEnglishWithoutTheZone()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        const QDateTime local(QDate(2011, 11, 15), QTime(9, 12, 31), QTimeZone(3600));
        QCOMPARE(HTTPDate::format(local), "Tue, 15 Nov 2011 08:12:31");
        QCOMPARE(HTTPDate::withoutZone("Tue, 15 Nov 2011 08:12:31 GMT"), "Tue, 15 Nov 2011 08:12:31 ");
        QCOMPARE(HTTPDate::withoutZone("no zone"), "no zone");
        QLocale::setDefault(QLocale::c());
    }
};

VELMORA_TEST_MAIN(TestURLConnection)
#include "tst_urlconnection.moc"
