#include "AdServerHarness.h"
#include "HttpDate.h"
#include "TestMain.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUrlQuery>

namespace {

const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();

ServerOptions optionsWith(const std::function<void(ServerOptions &)> &change)
{
    ServerOptions options = AdServerHarness::defaultOptions();
    change(options);
    return options;
}

}  // namespace

class TestAdServerProtocol : public QObject
{
    Q_OBJECT

private slots:
    void adRequestRedirectsToAPageWithTrackers()
    {
        AdServerHarness harness;
        QVERIFY2(harness.isRunning(), qPrintable(harness.startError()));

        const auto ad = harness.get("/ad?slotname=" + gameUnit + "&net=wifi&preqs=4");
        QCOMPARE(ad.status, 302);
        const QByteArray page = ad.header("Location");
        QVERIFY2(page.startsWith(harness.base() + "/page/"), page);
        QVERIFY(QList<QByteArray>({"any", "portrait", "landscape"}).contains(ad.header("X-Tiskos-Orientation")));
        const QList<QByteArray> trackers = ad.header("X-Tiskos-Tracking-Urls").split(' ');
        QCOMPARE(trackers.size(), 2);

        const auto shown = harness.get(page);
        QCOMPARE(shown.status, 200);
        QCOMPARE(shown.header("X-Tiskos-Refresh-Rate"), QByteArray("30"));
        QVERIFY(shown.header("Content-Type").startsWith("text/html"));
        QVERIFY(shown.body.contains("<html"));
        QVERIFY2(!shown.body.contains("{{"), "every placeholder is filled");
        QVERIFY(shown.body.contains("\"" + gameUnit + "\""));

        for (const QByteArray &tracker : trackers)
            QCOMPARE(harness.get(tracker).status, 200);
        const QJsonObject unit = harness.stats()["units"][QString::fromLatin1(gameUnit)].toObject();
        QCOMPARE(unit["adRequests"].toInt(), 1);
        QCOMPARE(unit["impressions"].toInt(), 1);
    }

    void creativesTakeTurns()
    {
        AdServerHarness harness;
        QSet<QByteArray> pages;
        for (int i = 0; i < 5; ++i)
            pages.insert(harness.get("/ad?slotname=" + gameUnit).header("Location").split('?').first());
        QCOMPARE(pages.size(), 5);
        QVERIFY2(!pages.contains(harness.base() + "/page/flood"), "the flood creative is never in rotation");
    }

    void unknownAdUnitsAreRejected()
    {
        AdServerHarness harness(optionsWith([](ServerOptions &o) { o.units = {ServerOptions::gameAdUnit, "a00000000000001"}; }));
        for (const QByteArray query : {"", "slotname=", "slotname=abc", "slotname=A1F3C29B07D5E64",
                                       "slotname=a1f3c29b07d5e64x", "slotname=a0123456789abcd"}) {
            const auto reply = harness.get("/ad?" + query);
            QVERIFY2(reply.status == 400, query);
        }
        QCOMPARE(harness.get("/ad?slotname=a00000000000001").status, 302);
        QCOMPARE(harness.stats()["rejected"].toInt(), 6);
    }

    void coreScriptAnswersConditionalRequests()
    {
        AdServerHarness harness;
        const auto first = harness.get("/tiskos/sdk-core-v40.js");
        QCOMPARE(first.status, 200);
        QVERIFY(first.body.contains("TISKOS_buildAdURL"));
        QVERIFY2(first.body.contains("\"" + harness.base() + "\""), "the script knows the ad host");
        const QByteArray lastModified = first.header("Last-Modified");
        QVERIFY(HttpDate::parse(lastModified).isValid());

        const auto same = harness.get("/tiskos/sdk-core-v40.js", {{"If-Modified-Since", lastModified}});
        QCOMPARE(same.status, 304);
        QVERIFY(same.body.isEmpty());
        const QByteArray withoutZone = lastModified.left(lastModified.indexOf("GMT")).trimmed();
        QCOMPARE(harness.get("/tiskos/sdk-core-v40.js", {{"If-Modified-Since", withoutZone}}).status, 304);

        const QDateTime earlier = HttpDate::parse(lastModified).addSecs(-1);
        QCOMPARE(harness.get("/tiskos/sdk-core-v40.js", {{"If-Modified-Since", HttpDate::format(earlier)}}).status, 200);
        QCOMPARE(harness.get("/tiskos/sdk-core-v40.js", {{"If-Modified-Since", "yesterday-ish"}}).status, 200);

        const auto page = harness.get("/landing/index.html");
        QCOMPARE(harness.get("/landing/index.html", {{"If-Modified-Since", page.header("Last-Modified")}}).status, 304);
    }

    void fillRateAndRefreshShapeThePage()
    {
        AdServerHarness none(optionsWith([](ServerOptions &o) { o.fillRate = 0; o.refreshSeconds = 12.5; }));
        const auto empty = none.get("/ad?slotname=" + gameUnit);
        QCOMPARE(empty.status, 200);
        QVERIFY(empty.body.isEmpty());
        QCOMPARE(empty.header("X-Tiskos-Refresh-Rate"), QByteArray("12.5"));
        QCOMPARE(none.stats()["units"][QString::fromLatin1(gameUnit)]["noFill"].toInt(), 1);

        AdServerHarness half(optionsWith([](ServerOptions &o) { o.fillRate = 0.5; o.refreshSeconds = 0; }));
        QList<int> statuses;
        for (int i = 0; i < 6; ++i)
            statuses.append(half.get("/ad?slotname=" + gameUnit).status);
        QCOMPARE(statuses, QList<int>({200, 302, 200, 302, 200, 302}));
        half.get("/ad?slotname=" + gameUnit);
        const auto shown = half.get(half.get("/ad?slotname=" + gameUnit).header("Location"));
        QCOMPARE(shown.status, 200);
        QVERIFY2(shown.header("X-Tiskos-Refresh-Rate").isEmpty(), "a zero period sends no refresh header");
    }

    void clickThroughsLandWhereTheCreativeSays()
    {
        AdServerHarness harness;
        const auto landing = harness.get("/click/landing?unit=" + gameUnit + "&rid=1");
        QCOMPARE(landing.status, 302);
        QCOMPARE(landing.header("Location"), harness.base() + "/landing/index.html?from=house-ad");
        const auto app = harness.get("/click/app?unit=" + gameUnit + "&rid=2");
        QCOMPARE(app.status, 302);
        QVERIFY(app.header("Location").startsWith("velmora-arcade://"));
        QCOMPARE(harness.get("/click/mail").status, 404);
        QCOMPARE(harness.get("/click/nonesuch").status, 404);
        QCOMPARE(harness.stats()["units"][QString::fromLatin1(gameUnit)]["creatives"]["landing"]["clickThroughs"].toInt(), 1);

        // Every link between the landing pages leads somewhere.
        static const QRegularExpression link(QStringLiteral("href=\"([a-z]+\\.(?:html|css))\""));
        for (const QByteArray page : {"index.html", "scores.html", "story.html"}) {
            const auto reply = harness.get("/landing/" + page);
            QCOMPARE(reply.status, 200);
            for (const auto &match : link.globalMatch(QString::fromUtf8(reply.body)))
                QVERIFY2(harness.get("/landing/" + match.captured(1).toLatin1()).status == 200, qPrintable(match.captured(1)));
        }
        QCOMPARE(harness.get("/webapp/index.html").status, 200);
    }

    void requestsAreLoggedAndCounted()
    {
        AdServerHarness harness(optionsWith([](ServerOptions &o) { o.recentCount = 2; }));
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
        QCOMPARE(stats["unattributed"].toInt(), 1);
        const QJsonArray recent = stats["recent"].toArray();
        QCOMPARE(recent.size(), 2);
        QCOMPARE(recent[0]["parameters"]["preqs"].toString(), QStringLiteral("2"));
        QCOMPARE(recent[1]["parameters"]["preqs"].toString(), QStringLiteral("3"));
        QCOMPARE(recent[1]["id"].toInt(), 3);
        QCOMPARE(stats["units"][QString::fromLatin1(gameUnit)]["creatives"]["club"]["clicks"].toInt(), 1);
    }

    void onlyTheSiteIsServed()
    {
        AdServerHarness harness;
        QCOMPARE(harness.get("/landing/../../CMakeLists.txt").status, 404);
        QCOMPARE(harness.get("/%2e%2e/CMakeLists.txt").status, 404);
        QCOMPARE(harness.get("/creatives/catalogue.json").status, 200);
        QCOMPARE(harness.get("/no/such/file.html").status, 404);
        QCOMPARE(harness.get("/page/nonesuch").status, 404);
        QCOMPARE(harness.get("/ad?slotname=" + gameUnit, {{"Host", "evil\"><script>"}}).header("Location").left(22),
                 harness.base().left(22));
    }
};

VELMORA_TEST_MAIN(TestAdServerProtocol)
#include "tst_adserver_protocol.moc"
