#include "HttpTestServer.h"
#include "PersistentCookieJar.h"
#include "TestMain.h"
#include "URLConnection.h"
#include "URLConnectionDelegate.h"

#include <QNetworkCookie>
#include <QSignalSpy>

namespace {

// Writes down every callback, and can decline or cancel at a chosen point.
class Recorder : public URLConnectionDelegate
{
public:
    QNetworkRequest connectionWillSendRequest(URLConnection *, const QNetworkRequest &request,
                                              const std::optional<URLResponse> &redirect) override
    {
        sentURLs.append(request.url());
        if (redirect)
            redirects.append(*redirect);
        if (redirect && declineRedirectTo == request.url())
            return QNetworkRequest();
        return request;
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

    int endings() const { return finished + int(errors.size()); }

    QList<QUrl> sentURLs;
    QList<URLResponse> redirects;
    QList<URLResponse> responses;
    QByteArray body;
    int finished = 0;
    QList<Error> errors;
    QUrl declineRedirectTo;
    bool cancelOnResponse = false;
};

QNetworkRequest get(const QUrl &url)
{
    return QNetworkRequest(url);
}

// A full exchange with the server: callbacks queued before it have run by the
// time it ends, so a missing callback is really missing.
void roundTrip(HttpTestServer &server)
{
    Recorder recorder;
    auto connection = URLConnection::connectionWithRequest(get(server.url("/barrier")), &recorder);
    QTRY_COMPARE(recorder.endings(), 1);
}

}  // namespace

class TestURLConnection : public QObject
{
    Q_OBJECT
private slots:
    void deliversStatusHeadersAndBodyOnce()
    {
        HttpTestServer server;
        server.reply("/page", 404, {{"X-Custom", "one"}, {"X-Custom", "two"}}, "missing page");
        Recorder recorder;
        auto connection = URLConnection::connectionWithRequest(get(server.url("/page")), &recorder);
        QTRY_COMPARE(recorder.endings(), 1);

        QCOMPARE(recorder.finished, 1);
        QCOMPARE(recorder.responses.size(), 1);
        QCOMPARE(recorder.responses[0].statusCode(), 404);
        QCOMPARE(recorder.responses[0].valueForHeaderField(u"x-custom"), "one, two");
        QCOMPARE(recorder.responses[0].allHeaderFields().value("X-Custom"), "one, two");
        QCOMPARE(recorder.body, "missing page");
        QCOMPARE(recorder.sentURLs, QList<QUrl>{server.url("/page")});

        // The caller's User-Agent is sent as is, and does not stick to the
        // shared manager: the next plain request carries only Qt's default.
        QNetworkRequest withAgent = get(server.url("/page"));
        withAgent.setRawHeader("User-Agent", "Velmora/1.0 test");
        Recorder second;
        connection = URLConnection::connectionWithRequest(withAgent, &second);
        QTRY_COMPARE(second.endings(), 1);
        QCOMPARE(server.requestsTo("/page").last().header("User-Agent"), "Velmora/1.0 test");
        Recorder third;
        connection = URLConnection::connectionWithRequest(get(server.url("/page")), &third);
        QTRY_COMPARE(third.endings(), 1);
        QCOMPARE(server.requestsTo("/page").last().header("User-Agent"),
                 server.requestsTo("/page").first().header("User-Agent"));
    }

    void followsRedirectsThroughTheDelegate()
    {
        HttpTestServer server;
        server.reply("/first", 301, {{"Location", "/second"}, {"X-Hop", "1"}});
        server.redirect("/second", server.url("/third").toString(), 307);
        server.reply("/third", 200, {}, "arrived");
        QNetworkRequest request = get(server.url("/first"));
        request.setRawHeader("If-Modified-Since", "Tue, 15 Nov 2011 08:12:31");

        Recorder recorder;
        auto connection = URLConnection::connectionWithRequest(request, &recorder);
        QTRY_COMPARE(recorder.endings(), 1);
        QCOMPARE(recorder.finished, 1);
        QCOMPARE(recorder.sentURLs,
                 (QList<QUrl>{server.url("/first"), server.url("/second"), server.url("/third")}));
        QCOMPARE(recorder.redirects.size(), 2);
        QCOMPARE(recorder.redirects[0].statusCode(), 301);
        QCOMPARE(recorder.redirects[0].valueForHeaderField(u"X-Hop"), "1");
        QCOMPARE(recorder.responses.size(), 1);
        QCOMPARE(recorder.responses[0].url(), server.url("/third"));
        QCOMPARE(recorder.body, "arrived");
        // The caller's headers travel with every hop.
        QCOMPARE(server.requestsTo("/third").last().header("If-Modified-Since"), "Tue, 15 Nov 2011 08:12:31");

        // Declining a redirect makes the redirect itself the answer.
        Recorder declining;
        declining.declineRedirectTo = server.url("/second");
        connection = URLConnection::connectionWithRequest(get(server.url("/first")), &declining);
        QTRY_COMPARE(declining.endings(), 1);
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
        auto connection = URLConnection::connectionWithRequest(get(server.url("/page")), &cancelling);
        QTRY_COMPARE(cancelling.responses.size(), 1);

        Recorder abandoned;
        auto dropped = URLConnection::connectionWithRequest(get(server.url("/page")), &abandoned);
        dropped.reset();
        roundTrip(server);
        QCOMPARE(cancelling.endings(), 0);
        QCOMPARE(cancelling.body, QByteArray());
        QCOMPARE(abandoned.sentURLs.size(), 0);
        QVERIFY(!URLConnection::connectionWithRequest(get(QUrl("not a url")), &abandoned));
    }

    void cookiesPersistAcrossProcesses()
    {
        HttpTestServer server;
        server.reply("/login", 200, {{"Set-Cookie", "visitor=42; Max-Age=3600; Path=/"}, {"Set-Cookie", "session=1"}});
        server.reply("/next", 200);
        for (const QString path : {"/login", "/next"}) {
            Recorder recorder;
            auto connection = URLConnection::connectionWithRequest(get(server.url(path)), &recorder);
            QTRY_COMPARE(recorder.finished, 1);
        }
        QCOMPARE(server.requestsTo("/next").last().header("Cookie"), "visitor=42; session=1");

        // A jar made later over the same file, as the next process would.
        PersistentCookieJar reopened(PersistentCookieJar::defaultFilePath());
        const QList<QNetworkCookie> cookies = reopened.cookiesForUrl(server.url("/next"));
        QCOMPARE(cookies.size(), 1);
        QCOMPARE(cookies[0].name(), "visitor");
        QCOMPARE(cookies[0].value(), "42");
    }
};

VELMORA_TEST_MAIN(TestURLConnection)
#include "tst_urlconnection.moc"
