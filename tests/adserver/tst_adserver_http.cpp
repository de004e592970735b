#include "AdServerHarness.h"
#include "HttpDate.h"
#include "TestMain.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>

#include <csignal>

namespace {

const QByteArray coreScript = "/tiskos/sdk-core-v40.js";

}  // namespace

class TestAdServerHttp : public QObject
{
    Q_OBJECT

private slots:
    // One GET to a server started with `arguments` ("->" at the end: follow
    // the Location first), then the status and a pattern over the answer
    // written as "Header: value" lines, a blank line and the body. BASE is the server.
    void answers_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("pattern");
        const QByteArray &ad = adRequest, loop = "BASE/ad\\?slotname=" + gameUnit + "&preqs=1&hop=";
        const QString twoUnits = "--units a1f3c29b07d5e64,a00000000000001", noHeader = "\\A(?![\\s\\S]*^%1:)";
        auto row = [](const char *name, const QString &arguments, const QByteArray &path, int status, const QString &pattern) {
            QTest::newRow(name) << arguments << path << status << pattern;
        };
        row("ad: page", "", ad, 302, "^Location: BASE/page/[a-z]+\\?");
        row("ad: trackers", "", ad, 302, "^X-Tiskos-Tracking-Urls: BASE/track/impression\\?\\S+ BASE/track/viewable\\?\\S+$");
        row("ad: orientation", "", ad, 302, "^X-Tiskos-Orientation: (any|portrait|landscape)$");
        row("ad page", "", ad + "->", 200, "\\A(?=[\\s\\S]*^X-Tiskos-Refresh-Rate: 30$)(?=[\\s\\S]*^Content-Type: text/html)[\\s\\S]*<html");
        row("ad page, refresh 0", "--refresh 0", ad + "->", 200, noHeader.arg("X-Tiskos-Refresh-Rate"));
        row("no fill", "--fill-rate 0 --refresh 12.5", ad, 200, "^X-Tiskos-Refresh-Rate: 12.5$[\\s\\S]*\\n\\n\\z");
        row("other configured unit", twoUnits, "/ad?slotname=a00000000000001", 302, "^Location: BASE/page/");
        for (const char *query : {"", "slotname=", "slotname=abc", "slotname=A1F3C29B07D5E64", "slotname=a1f3c29b07d5e64x",
                                  "slotname=a0123456789abcd"})
            row(*query ? query : "no query", twoUnits, "/ad?" + QByteArray(query), 400, "");
        row("core script", "", coreScript, 200, "^Last-Modified: .* GMT$[\\s\\S]*TISKOS_buildAdURL[\\s\\S]*\"BASE\"");
        row("click: landing", "", "/click/landing?unit=" + gameUnit + "&rid=1", 302, "^Location: BASE/landing/index.html\\?from=house-ad$");
        row("click: application", "", "/click/app?unit=" + gameUnit + "&rid=2", 302, "^Location: velmora-arcade://");
        row("click: mail has none", "", "/click/mail", 404, "");
        row("click: unknown", "", "/click/nonesuch", 404, "");
        row("dot-dot", "", "/landing/../../CMakeLists.txt", 404, "");
        row("encoded dot-dot", "", "/%2e%2e/CMakeLists.txt", 404, "");
        row("missing file", "", "/no/such/file.html", 404, "");
        row("unknown creative", "", "/page/nonesuch", 404, "");
        row("catalogue", "", "/creatives/catalogue.json", 200, "");
        row("web app", "", "/webapp/index.html", 200, "TISKOS_ReceiveMessage");
        row("fault status:500", "--fault status:500", ad, 500, "");
        row("fault status:400", "--fault status:400", ad, 400, "");
        row("fault status:503", "--fault status:503", ad, 503, "");
        row("fault status: script untouched", "--fault status:500", coreScript, 200, "TISKOS_buildAdURL");
        row("fault empty", "--fault empty", ad + "->", 200, "\\n\\n\\z");
        row("fault redirect-loop", "--fault redirect-loop", ad, 302, "^Location: " + loop + "1$");
        row("fault redirect-loop: next hop", "--fault redirect-loop", ad + "&hop=4", 302, "^Location: " + loop + "5$");
        row("fault garbage-script", "--fault garbage-script", coreScript, 200, "\\n\\nthrow (?![\\s\\S]*TISKOS_buildAdURL)");
        row("fault flood", "--fault flood", ad, 302, "^Location: BASE/page/flood\\?");
    }

    void answers()
    {
        QFETCH(QString, arguments);
        QFETCH(QByteArray, path);
        QFETCH(int, status);
        QFETCH(QString, pattern);
        AdServerHarness harness(arguments.split(' ', Qt::SkipEmptyParts));
        QVERIFY2(harness.isRunning(), qPrintable(harness.startError()));
        auto reply = harness.get(path.chopped(path.endsWith("->") ? 2 : 0));
        if (path.endsWith("->"))
            reply = harness.get(reply.header("Location"));
        QCOMPARE(reply.status, status);
        QByteArray text;
        for (const auto &[name, value] : reply.headers)
            text += name + ": " + value + '\n';
        text += '\n' + reply.body;
        const QRegularExpression expected(QString(pattern).replace("BASE", QRegularExpression::escape(harness.base())),
                                          QRegularExpression::MultilineOption | QRegularExpression::CaseInsensitiveOption);
        QVERIFY2(expected.match(QString::fromUtf8(text)).hasMatch(), text.left(600));
        QVERIFY2(!reply.body.contains("{{"), "every placeholder is filled");
    }

    void adRequestsTrackersAndLinksAreCounted()
    {
        AdServerHarness harness;
        QSet<QByteArray> pages;
        QList<QByteArray> trackers;
        for (int i = 0; i < 5; ++i) {
            const auto ad = harness.get(adRequest);
            pages.insert(ad.header("Location").split('?').first());
            trackers = ad.header("X-Tiskos-Tracking-Urls").split(' ');
        }
        QCOMPARE(pages.size(), 5);  // creatives take turns; the flood creative is never among them
        QVERIFY(!pages.contains(harness.base() + "/page/flood"));
        const auto shown = harness.get(harness.get(adRequest).header("Location"));
        QVERIFY(shown.body.contains("\"" + gameUnit + "\""));
        QVERIFY(harness.get(adRequest, {{"Host", "evil\"><script>"}}).header("Location").startsWith(harness.base()));
        for (const QByteArray &tracker : trackers)
            QCOMPARE(harness.get(tracker).status, 200);
        harness.get("/click/landing?unit=" + gameUnit + "&rid=1");
        QCOMPARE(harness.unitStats()["adRequests"].toInt(), 7);
        QCOMPARE(harness.unitStats()["impressions"].toInt(), 1);
        QCOMPARE(harness.unitStats()["creatives"]["landing"]["clickThroughs"].toInt(), 1);

        // Every link between the landing pages leads somewhere.
        static const QRegularExpression link(QStringLiteral("href=\"([a-z]+\\.(?:html|css))\""));
        for (const QByteArray page : {"index.html", "scores.html", "story.html"}) {
            const auto reply = harness.get("/landing/" + page);
            QCOMPARE(reply.status, 200);
            for (const auto &match : link.globalMatch(QString::fromUtf8(reply.body)))
                QVERIFY2(harness.get("/landing/" + match.captured(1).toLatin1()).status == 200, qPrintable(match.captured(1)));
        }
    }

    void conditionalRequestsGet304()
    {
        AdServerHarness harness;
        const QByteArray lastModified = harness.get(coreScript).header("Last-Modified");
        QVERIFY(HttpDate::parse(lastModified).isValid());
        const auto same = harness.get(coreScript, {{"If-Modified-Since", lastModified}});
        QCOMPARE(same.status, 304);
        QVERIFY(same.body.isEmpty());
        const QByteArray withoutZone = lastModified.left(lastModified.indexOf("GMT")).trimmed();
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", withoutZone}}).status, 304);
        const QDateTime earlier = HttpDate::parse(lastModified).addSecs(-1);
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", HttpDate::format(earlier)}}).status, 200);
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", "yesterday-ish"}}).status, 200);

        const auto page = harness.get("/landing/index.html");
        QCOMPARE(harness.get("/landing/index.html", {{"If-Modified-Since", page.header("Last-Modified")}}).status, 304);
    }

    void fillRateSpreadsAdsAndNoFills()
    {
        AdServerHarness harness({"--fill-rate", "0.5"});
        QList<int> statuses;
        for (int i = 0; i < 6; ++i)
            statuses.append(harness.get(adRequest).status);
        QCOMPARE(statuses, QList<int>({200, 302, 200, 302, 200, 302}));
        QCOMPARE(harness.unitStats()["noFill"].toInt(), 3);
    }

    void requestsAreLoggedAndCounted()
    {
        AdServerHarness harness({"--recent", "2"});
        for (int i = 1; i <= 3; ++i)
            harness.get("/ad?slotname=" + gameUnit + "&preqs=" + QByteArray::number(i) + "&extras=%7B%22a%22%3A1%7D");
        harness.get("/ad?slotname=nope");
        harness.get("/track/click?unit=" + gameUnit + "&creative=club&rid=2");
        harness.get("/track/impression?unit=a99999999999999&creative=club");

        const QList<QJsonObject> lines = harness.logLines();
        QCOMPARE(lines.size(), 6);
        QCOMPARE(lines[0]["method"].toString(), QStringLiteral("GET"));
        QCOMPARE(lines[0]["path"].toString(), QStringLiteral("/ad"));
        QCOMPARE(lines[0]["status"].toInt(), 302);
        QCOMPARE(lines[0]["query"]["extras"].toString(), QStringLiteral("{\"a\":1}"));
        QVERIFY(QDateTime::fromString(lines[0]["time"].toString(), Qt::ISODateWithMs).isValid());
        QCOMPARE(lines[3]["status"].toInt(), 400);

        const QJsonObject stats = harness.stats();
        QCOMPARE(stats["adRequests"].toInt(), 3);
        QCOMPARE(stats["rejected"].toInt(), 1);
        QCOMPARE(stats["unattributed"].toInt(), 1);
        const QJsonArray recent = stats["recent"].toArray();
        QCOMPARE(recent.size(), 2);
        QCOMPARE(recent[0]["parameters"]["preqs"].toString(), QStringLiteral("2"));
        QCOMPARE(recent[1]["parameters"]["preqs"].toString(), QStringLiteral("3"));
        QCOMPARE(recent[1]["id"].toInt(), 3);
        QCOMPARE(stats["units"][ServerOptions::gameAdUnit]["creatives"]["club"]["clicks"].toInt(), 1);
    }

    void slowAndTruncatedFaults()
    {
        // The delay is long enough that /stats cannot lose the race on a busy machine.
        AdServerHarness slow({"--fault", "slow:5000"});
        QNetworkAccessManager network;
        QNetworkRequest request(QUrl(slow.base() + adRequest));
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        std::unique_ptr<QNetworkReply> ad(network.get(request));
        QSignalSpy adDone(ad.get(), &QNetworkReply::finished);
        QCOMPARE(slow.get("/stats").status, 200);
        QVERIFY2(adDone.isEmpty(), "the delayed answer is still pending while /stats is served");
        QTRY_COMPARE_WITH_TIMEOUT(adDone.size(), 1, 30000);
        QCOMPARE(ad->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 302);

        AdServerHarness truncated({"--fault", "truncated"});
        const auto cut = truncated.get(truncated.get(adRequest).header("Location"));
        QVERIFY2(cut.error != QNetworkReply::NoError, "the client notices the short body");
        QVERIFY(cut.body.size() < cut.header("Content-Length").toInt());
    }

    void badOptionsAndBusyPortsAreExplained()
    {
        QVERIFY(AdServerHarness::parseError({}).isEmpty());
        QVERIFY(AdServerHarness::parseError({"--fault", "slow:5", "--fault", "status:500", "--fill-rate", "0.3"}).isEmpty());
        const QList<QPair<QStringList, QString>> bad{
            {{"--port", "70000"}, "--port"},
            {{"--bind", "localhost:80"}, "--bind"},
            {{"--units", "a1f3c29b07d5e64,slot-1"}, "slot-1"},
            {{"--fill-rate", "1.5"}, "--fill-rate"},
            {{"--fault", "status:200"}, "unknown mode"},
            {{"--www", "/nonexistent"}, "core script"},
        };
        for (const auto &[arguments, mention] : bad)
            QVERIFY2(AdServerHarness::parseError(arguments).contains(mention), qPrintable(arguments.join(' ')));

        QTcpServer squatter;
        QVERIFY(squatter.listen(QHostAddress::LocalHost));
        AdServerHarness harness({"--port", QString::number(squatter.serverPort())});
        QVERIFY(!harness.isRunning());
        QVERIFY2(harness.startError().contains(QString::number(squatter.serverPort())), qPrintable(harness.startError()));
        QVERIFY2(harness.startError().contains("in use", Qt::CaseInsensitive), qPrintable(harness.startError()));
    }

    void executableReportsItsPortAndFlushesOnTerm()
    {
        QTemporaryDir dir;
        const QString log = dir.filePath(QStringLiteral("log.jsonl"));
        QProcess server;
        server.start(QStringLiteral(VELMORA_ADSERVER_BINARY),
                     {"--port", "0", "--www", VELMORA_ADSERVER_WWW, "--log", log, "--fault", "status:500"});
        QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine(), 30000);
        const QByteArray banner = server.readLine();
        const QRegularExpressionMatch port = QRegularExpression("http://127\\.0\\.0\\.1:(\\d+)").match(QString::fromLatin1(banner));
        QVERIFY2(port.hasMatch(), banner);

        AdServerHarness client;  // only its HTTP client is used here
        QCOMPARE(client.get("http://127.0.0.1:" + port.captured(1).toLatin1() + adRequest).status, 500);
        ::kill(pid_t(server.processId()), SIGTERM);
        QVERIFY(server.waitForFinished(30000));
        QCOMPARE(server.exitStatus(), QProcess::NormalExit);
        QFile file(log);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().contains("\"status\":500"), "the buffered line reached the disk");

        QProcess refused;
        refused.start(QStringLiteral(VELMORA_ADSERVER_BINARY), {"--fault", "nonsense"});
        QVERIFY(refused.waitForFinished(30000));
        QCOMPARE(refused.exitCode(), 2);
        QVERIFY(refused.readAllStandardError().contains("unknown mode \"nonsense\""));
    }
};

VELMORA_TEST_MAIN(TestAdServerHttp)
#include "tst_adserver_http.moc"
