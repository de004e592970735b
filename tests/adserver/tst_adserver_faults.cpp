#include "AdServerHarness.h"
#include "TestMain.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTcpServer>

#include <csignal>

namespace {

const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();
const QByteArray adRequest = "/ad?slotname=" + gameUnit + "&preqs=1";

ServerOptions faulty(const QStringList &faults)
{
    ServerOptions options = AdServerHarness::defaultOptions();
    options.faults = faults;
    return options;
}

QString parseError(const QStringList &arguments)
{
    ServerOptions options;
    QString error;
    QStringList all{QStringLiteral("velmora-adserver")};
    if (!arguments.contains(QStringLiteral("--www")))
        all << QStringLiteral("--www") << QStringLiteral(VELMORA_ADSERVER_WWW);
    if (options.parse(all + arguments, &error))
        return QString();
    return error;
}

}  // namespace

class TestAdServerFaults : public QObject
{
    Q_OBJECT

private slots:
    void slowDelaysAdsButNotTheOperator()
    {
        AdServerHarness harness(faulty({QStringLiteral("slow:2000")}));
        QNetworkAccessManager network;
        QNetworkRequest request(QUrl(harness.base() + adRequest));
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        std::unique_ptr<QNetworkReply> ad(network.get(request));
        QSignalSpy adDone(ad.get(), &QNetworkReply::finished);
        const auto stats = harness.get("/stats");
        QCOMPARE(stats.status, 200);
        QVERIFY2(adDone.isEmpty(), "the delayed answer is still pending while /stats is served");
        QTRY_COMPARE_WITH_TIMEOUT(adDone.size(), 1, 20000);
        QCOMPARE(ad->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 302);
    }

    void statusFaultsAnswerEveryAdRequest()
    {
        for (const int status : {500, 400, 503}) {
            AdServerHarness harness(faulty({QStringLiteral("status:%1").arg(status)}));
            QCOMPARE(harness.get(adRequest).status, status);
            QCOMPARE(harness.get("/tiskos/sdk-core-v40.js").status, 200);
        }
    }

    void emptyAndTruncatedSpoilTheAdPage()
    {
        AdServerHarness empty(faulty({QStringLiteral("empty")}));
        const auto blank = empty.get(empty.get(adRequest).header("Location"));
        QCOMPARE(blank.status, 200);
        QVERIFY(blank.body.isEmpty());

        AdServerHarness truncated(faulty({QStringLiteral("truncated")}));
        const auto cut = truncated.get(truncated.get(adRequest).header("Location"));
        QVERIFY2(cut.error != QNetworkReply::NoError, "the client notices the short body");
        QVERIFY(cut.body.size() < cut.header("Content-Length").toInt());
    }

    void redirectLoopNeverArrives()
    {
        AdServerHarness harness(faulty({QStringLiteral("redirect-loop")}));
        QByteArray url = adRequest;
        for (int hop = 1; hop <= 5; ++hop) {
            const auto reply = harness.get(url);
            QCOMPARE(reply.status, 302);
            url = reply.header("Location");
            QVERIFY2(url.startsWith(harness.base() + "/ad?") && url.contains("hop=" + QByteArray::number(hop)), url);
            QVERIFY(url.contains("slotname=" + gameUnit));
        }
    }

    void garbageScriptAndFloodChangeWhatIsServed()
    {
        AdServerHarness garbage(faulty({QStringLiteral("garbage-script")}));
        const auto script = garbage.get("/tiskos/sdk-core-v40.js");
        QCOMPARE(script.status, 200);
        QVERIFY(script.body.startsWith("throw "));
        QVERIFY(!script.body.contains("TISKOS_buildAdURL"));

        AdServerHarness flood(faulty({QStringLiteral("flood")}));
        for (int i = 0; i < 3; ++i)
            QVERIFY(flood.get(adRequest).header("Location").startsWith(flood.base() + "/page/flood?"));
    }

    void badOptionsAreExplained()
    {
        QVERIFY(parseError({}).isEmpty());
        QVERIFY(parseError({"--port", "0", "--fault", "slow:5", "--fault", "status:500", "--fill-rate", "0.3"}).isEmpty());
        QVERIFY(parseError({"--port", "70000"}).contains("--port"));
        QVERIFY(parseError({"--bind", "localhost:80"}).contains("--bind"));
        QVERIFY(parseError({"--units", "a1f3c29b07d5e64,slot-1"}).contains("slot-1"));
        QVERIFY(parseError({"--fill-rate", "1.5"}).contains("--fill-rate"));
        QVERIFY(parseError({"--fault", "status:200"}).contains("unknown mode"));
        QVERIFY(parseError({"--www", "/nonexistent"}).contains("core script"));
    }

    void busyPortIsReported()
    {
        QTcpServer squatter;
        QVERIFY(squatter.listen(QHostAddress::LocalHost));
        ServerOptions options = AdServerHarness::defaultOptions();
        options.port = squatter.serverPort();
        AdServerHarness harness(options);
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
        QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine(), 20000);
        const QByteArray banner = server.readLine();
        const QRegularExpressionMatch port = QRegularExpression("http://127\\.0\\.0\\.1:(\\d+)").match(QString::fromLatin1(banner));
        QVERIFY2(port.hasMatch(), banner);

        AdServerHarness client;  // only its HTTP client is used here
        const auto reply = client.get("http://127.0.0.1:" + port.captured(1).toLatin1() + adRequest);
        QCOMPARE(reply.status, 500);
        ::kill(pid_t(server.processId()), SIGTERM);
        QVERIFY(server.waitForFinished(20000));
        QCOMPARE(server.exitStatus(), QProcess::NormalExit);
        QFile file(log);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().contains("\"status\":500"), "the buffered line reached the disk");

        QProcess refused;
        refused.start(QStringLiteral(VELMORA_ADSERVER_BINARY), {"--fault", "nonsense"});
        QVERIFY(refused.waitForFinished(20000));
        QCOMPARE(refused.exitCode(), 2);
        QVERIFY(refused.readAllStandardError().contains("unknown mode \"nonsense\""));
    }
};

VELMORA_TEST_MAIN(TestAdServerFaults)
#include "tst_adserver_faults.moc"
