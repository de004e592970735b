#include "PageScript.h"
#include "RendererWatch.h"
#include "TestMain.h"
#include "WebProfile.h"
#include "WebView.h"

#include "EventLoopWait.h"

#include <QApplication>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <csignal>

using namespace Velmora::Platform;

namespace {

// Records what the view asks and tells, and refuses all but http pages.
class RecordingDelegate : public WebViewDelegate
{
public:
    QStringList asked;
    int finished = 0;
    QList<Error> failures;

    bool webViewShouldStartLoad(WebContent *, const QNetworkRequest &request, NavigationType type) override
    {
        asked << QStringLiteral("%1 %2").arg(type).arg(request.url().toString());
        userAgent = request.rawHeader("User-Agent");
        return request.url().scheme() == QLatin1String("http");
    }
    void webViewDidFinishLoad(WebContent *) override { ++finished; }
    void webViewDidFailLoadWithError(WebContent *, const Error &error) override { failures << error; }

    QByteArray userAgent;
};

bool spinUntil(const std::function<bool()> &done)
{
    return testsupport::waitUntil(done, 20000);
}

}  // namespace

class TestWebView : public QObject
{
    Q_OBJECT
private slots:
    // Every navigation a page starts, in any frame and of any scheme the view
    // knows, is asked about first; none reaches the desktop or opens a window.
    void pageNavigationsAreAskedAboutAndGoNowhereElse()
    {
        WebView view;
        RecordingDelegate delegate;
        view.setDelegate(&delegate);
        const QUrl base("http://127.0.0.1:9/ad/page.html");
        view.loadHTMLString(QStringLiteral("<iframe src='tsmsg:///frame'></iframe><script>var seen = [location.href];"
                                           "alert('hi'); confirm('sure?'); window.open('http://127.0.0.1:9/popup');"
                                           "</script><a id='m' href='mailto:a@b.test'>m</a><a id='l' href='next.html'>l</a>"),
                            base);
        QVERIFY(spinUntil([&] { return delegate.finished == 1; }));
        QCOMPARE(view.requestURL(), base);
        QVERIFY(!delegate.userAgent.isEmpty() && !view.isVisible());
        // The page runs under its base URL, unseen, and takes scripts in the order given.
        view.evaluateJavaScript(QStringLiteral("seen.push(document.getElementById('l').href);"));
        view.evaluateJavaScript(QStringLiteral("seen.push('last');"));
        QCOMPARE(testsupport::evaluateInPage(view.page(), QStringLiteral("seen.join(' ')")).toString(),
                 base.toString() + " http://127.0.0.1:9/ad/next.html last");
        for (const char *target : {"tsmsg:///click?u=x", "velmora-arcade://play", "file:///etc/passwd"})
            view.evaluateJavaScript(QStringLiteral("location.href = '%1';").arg(target));
        view.evaluateJavaScript(QStringLiteral("document.getElementById('m').click();"));
        QVERIFY(spinUntil([&] { return delegate.asked.size() >= 6; }));
        testsupport::spin(300);
        QCOMPARE(delegate.asked.first(), QStringLiteral("5 ") + base.toString());
        // A script's navigation counts as a link, as the engine reports it.
        for (const char *seen : {"5 tsmsg:///frame", "0 tsmsg:///click?u=x", "0 velmora-arcade://play",
                                 "0 file:///etc/passwd", "0 mailto:a@b.test"})
            QVERIFY2(delegate.asked.contains(QString::fromLatin1(seen)), qPrintable(delegate.asked.join(" | ")));
        // No window appeared.
        QVERIFY(!delegate.asked.join(' ').contains("popup"));
        QCOMPARE(QApplication::topLevelWidgets().size(), 1);
        QCOMPARE(view.requestURL(), base);
        QVERIFY(delegate.failures.isEmpty());

        // A page too large for the engine fails instead of idling.
        view.loadHTMLString(QString(WebView::kMaximumHTMLStringBytes + 1, 'x'), base);
        QVERIFY(spinUntil([&] { return delegate.failures.size() == 1; }));
    }

    // The caller's headers (a Referer, say) go with the first request only.
    void requestHeadersGoWithTheFirstRequest()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QList<QByteArray> requests;
        connect(&server, &QTcpServer::newConnection, [&] {
            QTcpSocket *socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, [&requests, socket] {
                requests << socket->readAll();
                const QByteArray page = "<a id='l' href='/next'>next</a>";
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: "
                              + QByteArray::number(page.size()) + "\r\n\r\n" + page);
            });
        });
        WebView view;
        RecordingDelegate delegate;
        view.setDelegate(&delegate);
        const QString base = QStringLiteral("http://127.0.0.1:%1").arg(server.serverPort());
        QNetworkRequest request(QUrl(base + "/first"));
        request.setRawHeader("Referer", "http://127.0.0.1:9/ad/page.html");
        view.loadRequest(request);
        QVERIFY2(spinUntil([&] { return delegate.finished == 1; }),
                 qPrintable(delegate.asked.join(',')));
        view.evaluateJavaScript(QStringLiteral("document.getElementById('l').click();"));
        QVERIFY(spinUntil([&] { return delegate.finished == 2; }));
        const QByteArray all = requests.join("\n---\n");
        QVERIFY2(requests.first().contains("Referer: http://127.0.0.1:9/ad/page.html"), all.constData());
        QVERIFY2(!requests.last().contains("ad/page.html"), all.constData());
    }

    void engineFlagsShareOneRenderer()
    {
        const std::pair<QByteArray, QByteArray> cases[] = {  // the user's flags, the engine's
            {"", "--renderer-process-limit=1"},
            {"--disable-gpu", "--disable-gpu --renderer-process-limit=1"},
            {"--renderer-process-limit=4 --disable-gpu", "--renderer-process-limit=4 --disable-gpu"},
            {"--disable-gpu --process-per-site", "--disable-gpu --process-per-site"},
            {"--single-process-x", "--single-process-x --renderer-process-limit=1"}};  // only looks like a model
        for (const auto &[flags, expected] : cases)
            QCOMPARE(WebProfile::sharedRendererSwitches(flags), expected);
    }

    // Pages share one renderer process. One that is only slow (its process
    // stopped for longer than a stuck one is given, as a machine whose cores
    // are taken may leave it) outlives a stop; one whose script never yields
    // loses it once stopped. Its end fails only the load under way, and the
    // pages load again in a fresh renderer.
    void stoppedPageEndsItsRendererOnlyWhenStuck()
    {
        const QUrl base(QStringLiteral("http://127.0.0.1:9/ad/page.html"));
        WebView other, stopped, idle;
        RecordingDelegate otherDelegate, stoppedDelegate, idleDelegate;
        other.setDelegate(&otherDelegate);
        stopped.setDelegate(&stoppedDelegate);
        idle.setDelegate(&idleDelegate);
        other.loadHTMLString(QStringLiteral("<p>before</p>"), base);
        stopped.loadHTMLString(QStringLiteral("<p>first</p>"), base);
        idle.loadHTMLString(QStringLiteral("<p>idle</p>"), base);
        QVERIFY(spinUntil([&] { return otherDelegate.finished + stoppedDelegate.finished + idleDelegate.finished == 3; }));
        const qint64 renderer = other.page()->renderProcessPid();
        QVERIFY(stopped.page()->renderProcessPid() == renderer && idle.page()->renderProcessPid() == renderer);

        {
            // Runs again however the test ends.
            const auto resumed = qScopeGuard([renderer] { ::kill(pid_t(renderer), SIGCONT); });
            ::kill(pid_t(renderer), SIGSTOP);
            stopped.loadHTMLString(QStringLiteral("<p>never shown</p>"), base);
            stopped.stopLoading();
            testsupport::spin(int(RendererWatch::kStuckProcessorSeconds * 1000) + 2000);
        }
        QCOMPARE(testsupport::evaluateInPage(other.page(), QStringLiteral("document.body.innerText")).toString(),
                 QStringLiteral("before"));
        QCOMPARE(other.page()->renderProcessPid(), renderer);

        const qsizetype asked = stoppedDelegate.asked.size();
        stopped.loadHTMLString(QStringLiteral("<script>for (;;) {}</script>"), base);
        QVERIFY(spinUntil([&] { return stoppedDelegate.asked.size() > asked; }));
        testsupport::spin(500);
        stopped.stopLoading();

        // A load held up behind that script fails rather than waits for ever:
        // once the renderer has run long enough, which a loaded machine slows.
        other.loadHTMLString(QStringLiteral("<p>held up</p>"), base);
        QVERIFY(testsupport::waitUntil([&] { return otherDelegate.failures.size() == 1; }, 60000));
        other.loadHTMLString(QStringLiteral("<p>after</p>"), base);
        QVERIFY(spinUntil([&] { return otherDelegate.finished == 2; }));
        QCOMPARE(testsupport::evaluateInPage(other.page(), QStringLiteral("document.body.innerText")).toString(),
                 QStringLiteral("after"));
        QVERIFY(idle.page()->renderProcessPid() != renderer && idleDelegate.failures.isEmpty());
        QCOMPARE(otherDelegate.failures.size(), 1);
        // The stopped page's caller has given up on it and hears nothing more.
        QVERIFY(stoppedDelegate.failures.isEmpty());
    }
};

VELMORA_TEST_MAIN_WITH(TestWebView, [] { WebProfile::registerSchemes({"tsmsg", "mailto", "velmora-arcade"}); })
#include "tst_webview.moc"
