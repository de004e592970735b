#include "AdServerHarness.h"
#include "EventLoopWait.h"
#include "PageScript.h"
#include "transport/HttpDate.h"
#include "ServerOptions.h"
#include "TestMain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUrlQuery>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

#include <optional>

namespace {

using testsupport::waitUntil;

const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();
const QByteArray adRequest = "/ad?slotname=" + gameUnit + "&preqs=1";
const QByteArray coreScript = "/tiskos/sdk-core-v40.js";

// Without a registered scheme and a handler the engine drops tsmsg: and
// mailto: navigations before asking the page; with them the page refuses them.
class RefusingSchemeHandler : public QWebEngineUrlSchemeHandler
{
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob *job) override { job->fail(QWebEngineUrlRequestJob::RequestDenied); }
};

void registerSchemes()
{
    for (const QByteArray name : {"tsmsg", "mailto"}) {
        QWebEngineUrlScheme scheme(name);
        scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
        QWebEngineUrlScheme::registerScheme(scheme);
    }
}

// A web page that refuses and records what an app embedding it would
// intercept: tsmsg: bridge messages and mailto: links.
class BridgeRecorder : public QWebEnginePage
{
public:
    struct Message
    {
        QString name;
        QUrlQuery query;
        QString value(const QString &key) const { return query.queryItemValue(key, QUrl::FullyDecoded); }
    };

    BridgeRecorder()
    {
        for (const QByteArray scheme : {"tsmsg", "mailto"}) {
            if (!profile()->urlSchemeHandler(scheme))
                profile()->installUrlSchemeHandler(scheme, new RefusingSchemeHandler(profile()));
        }
        // Hidden pages get their timers throttled to once a second; a tap's messages leave 40 ms apart.
        connect(this, &QWebEnginePage::loadStarted, this, [this] { setVisible(true); });
    }

    QList<QUrl> intercepted;

    QList<Message> messages(const QString &name = {}) const
    {
        QList<Message> found;
        for (const QUrl &url : intercepted) {  // a mailto: link is named "mailto"
            const QString message = url.scheme() == QLatin1String("tsmsg") ? url.path().mid(1) : url.scheme();
            if (name.isEmpty() || message == name)
                found.append({message, QUrlQuery(url)});
        }
        return found;
    }

    bool open(const QUrl &url, const QString &html = {})  // whether the first load of it succeeded
    {
        std::optional<bool> first;
        // A late word from the previous page's load must not pass for this one's.
        const auto connection = connect(this, &QWebEnginePage::loadingChanged, this, [&](const QWebEngineLoadingInfo &info) {
            if ((!html.isEmpty() || info.url() == url) && info.status() != QWebEngineLoadingInfo::LoadStartedStatus)
                first = first.value_or(info.status() == QWebEngineLoadingInfo::LoadSucceededStatus);
        });
        html.isEmpty() ? load(url) : setHtml(html, url);
        waitUntil([&] { return first.has_value(); });
        disconnect(connection);
        return first.value_or(false);
    }

    QVariant run(const QString &script) { return testsupport::evaluateInPage(this, script); }

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType, bool) override
    {
        if (url.scheme() != QLatin1String("tsmsg") && url.scheme() != QLatin1String("mailto"))
            return true;
        intercepted.append(url);
        return false;
    }
};

}  // namespace

// Web pages share one server; each check gets a fresh page, so nothing a page
// still sends can reach the next check.
class TestAdServer : public QObject
{
    Q_OBJECT

    AdServerHarness harness;
    std::unique_ptr<BridgeRecorder> page;
    QByteArray script;

    bool build(const QByteArray &json)  // the page the library builds around the core script
    {
        page->setHtml(QString::fromUtf8("<html><head><script>" + script + "</script><script>TISKOS_buildAdURL(" + json
                                       + ");</script></head><body></body></html>"),
                     QUrl(QString::fromLatin1(harness.base())));
        return waitUntil([&] { return !page->messages().isEmpty(); });
    }

    bool show(const QByteArray &path) { return page->open(QUrl::fromEncoded(harness.base() + path)); }

private slots:
    void initTestCase() { script = harness.get(coreScript).body; }
    void init()
    {
        // The last check's page may still be sending bridge messages, and one arriving while the next page
        // loads spoils that load: every check gets a page of its own.
        page = std::make_unique<BridgeRecorder>();
    }

    // One GET to a server started with `arguments` ("->": then follow the Location); the pattern goes
    // over the answer as "Header: value" lines, a blank line and the body. BASE is the server.
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
        for (const char *path : {"/click/mail", "/click/nonesuch", "/landing/../../CMakeLists.txt", "/%2e%2e/CMakeLists.txt",
                                 "/no/such/file.html", "/page/nonesuch"})
            row(path, "", path, 404, "");
        row("catalogue", "", "/creatives/catalogue.json", 200, "");
        for (const int code : {500, 400, 503})
            row(qPrintable(QString("fault status:%1").arg(code)), QString("--fault status:%1").arg(code), ad, code, "");
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
        for (auto header = reply.headers.cbegin(); header != reply.headers.cend(); ++header)
            text += header.key() + ": " + header.value() + '\n';
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
        QCOMPARE(harness.unitStats()["impressions"].toInt(), 1);
    }

    // The site's pages link up and answer If-Modified-Since; a link out of
    // the site is not followed, and a large file arrives whole.
    void staticFilesLinkUpStayInsideAndAnswer304()
    {
        QTemporaryDir dir;
        const QString www = dir.filePath("www");
        QVERIFY(QProcess::execute("cp", {"-r", VELMORA_ADSERVER_WWW, www}) == 0);
        QFile outside(dir.filePath("secret.txt"));
        QVERIFY(outside.open(QIODevice::WriteOnly) && outside.write("secret") == 6);
        outside.close();
        QVERIFY(QFile::link(outside.fileName(), www + "/outside.html"));
        QVERIFY(QFile::link(www + "/landing/story.html", www + "/inside.html"));
        QFile big(www + "/big.bin");
        QVERIFY(big.open(QIODevice::WriteOnly) && big.resize(5 << 20));
        big.close();
        AdServerHarness harness({"--www", www});
        const QList<QPair<QByteArray, int>> cases{{"/outside.html", 404}, {"/inside.html", 200}, {"/landing/", 200}, {"/big.bin", 200}};
        for (const auto &[path, status] : cases) {
            const auto response = harness.get(path);
            QVERIFY2(response.status == status && !response.body.contains("secret"), path);
        }
        QCOMPARE(harness.get("/big.bin").body.size(), 5 << 20);

        static const QRegularExpression link(QStringLiteral("href=\"([a-z]+\\.(?:html|css))\""));
        for (const QByteArray page : {"index.html", "scores.html", "story.html"}) {
            const auto reply = harness.get("/landing/" + page);
            QCOMPARE(reply.status, 200);
            for (const auto &match : link.globalMatch(QString::fromUtf8(reply.body)))
                QVERIFY2(harness.get("/landing/" + match.captured(1).toLatin1()).status == 200, qPrintable(match.captured(1)));
            QCOMPARE(harness.get("/landing/" + page, {{"If-Modified-Since", reply.header("Last-Modified")}}).status, 304);
        }
        const QByteArray lastModified = harness.get(coreScript).header("Last-Modified");
        const auto same = harness.get(coreScript, {{"If-Modified-Since", lastModified}});
        QCOMPARE(same.status, 304);
        QVERIFY(same.body.isEmpty());
        const QByteArray withoutZone = lastModified.left(lastModified.indexOf("GMT")).trimmed();
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", withoutZone}}).status, 304);
        const QDateTime earlier = HttpDate::parse(lastModified).addSecs(-1);
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", HttpDate::format(earlier)}}).status, 200);
        QCOMPARE(harness.get(coreScript, {{"If-Modified-Since", "yesterday-ish"}}).status, 200);
    }

    // What a request's own consent signals allow is all that reaches the log
    // and /stats: the consent strings are the IAB encoder's, the house vendor
    // is checked, and a malformed string counts as no consent.
    void personalParametersNeedConsent()
    {
        QFile data(QStringLiteral(VELMORA_TEST_DATA "/consent/strings.json"));
        QVERIFY(data.open(QIODevice::ReadOnly));
        const QJsonObject strings = QJsonDocument::fromJson(data.readAll()).object();
        const auto consent = [&strings](const char *name) {
            return "gdpr=1&gdpr_consent=" + strings["cases"][name]["tcString"].toString().toLatin1();
        };
        const QByteArray all = "isu,uloc,cust_gender,cust_age", none, noLocation = "isu,cust_gender,cust_age";
        const QList<QPair<QByteArray, QByteArray>> cases{
            {"", all}, {"npa=1", none}, {"tfua=1", none}, {"us_privacy=1YYN", none}, {"us_privacy=1YNN", all},
            {"gdpr=1", none}, {"gdpr=1&gdpr_consent=CQtAQoA.garbage", none}, {consent("full"), all},
            {consent("full") + "&coppa=1", none}, {consent("withoutPurpose1"), none}, {consent("withoutPersonalisation"), none},
            {consent("withoutHouseVendor"), none}, {consent("withoutSpecialFeature1"), noLocation}, {consent("nothing"), none}};
        AdServerHarness harness({"--vendor-id", QString::number(strings["houseVendor"].toInt()), "--recent", "20"});
        const QByteArray personal = "&isu=0123456789ABCDEF&uloc=e1%2BQmFz&cust_gender=f&cust_age=19990101";
        for (qsizetype i = 0; i < cases.size(); ++i)
            harness.get(adRequest + "&preqs=" + QByteArray::number(i) + personal + '&' + cases[i].first);

        const QList<QJsonObject> lines = harness.logLines();
        const QJsonArray recent = harness.stats()["recent"].toArray();
        QCOMPARE(lines.size(), cases.size());
        QCOMPARE(recent.size(), cases.size());
        for (qsizetype i = 0; i < cases.size(); ++i) {
            for (const QJsonObject &listed : {lines[i]["query"].toObject(), recent[i]["parameters"].toObject()}) {
                QCOMPARE(listed["preqs"].toString(), QString::number(i));
                QStringList kept;
                for (const QString name : {"isu", "uloc", "cust_gender", "cust_age"}) {
                    if (listed.contains(name))
                        kept << name;
                }
                QVERIFY2(kept.join(',').toLatin1() == cases[i].second, cases[i].first + ": " + kept.join(',').toLatin1());
            }
            const qsizetype keptCount = cases[i].second.isEmpty() ? 0 : cases[i].second.count(',') + 1;
            QCOMPARE(lines[i]["withheld"].toArray().size(), 4 - keptCount);
        }
        QFile log(harness.logPath());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY2(!log.readAll().contains("127.0.0.1"), "no client address is logged");
    }

    // A slow answer holds only its own connection.
    void slowFaultHoldsOnlyItsAnswer()
    {
        // The delay is long enough that /stats cannot lose the race on a busy machine.
        AdServerHarness slow({"--fault", "slow:5000"});
        QNetworkAccessManager network;
        network.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
        std::unique_ptr<QNetworkReply> ad(network.get(QNetworkRequest(QUrl(slow.base() + adRequest))));
        QSignalSpy adDone(ad.get(), &QNetworkReply::finished);
        QCOMPARE(slow.get(slow.adminBase() + "/stats").status, 200);
        QVERIFY2(adDone.isEmpty(), "the delayed answer is still pending while /stats is served");
        QTRY_COMPARE_WITH_TIMEOUT(adDone.size(), 1, 30000);
        QCOMPARE(ad->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 302);
    }

    void coreScriptBuildsTheAdUrlOrRefuses()
    {
        const QJsonObject params{
            {"slotname", ServerOptions::gameAdUnit}, {"js", "tiskos-sdk-i-v4.0.2"}, {"net", "wifi"}, {"testing", "1"},
            {"preqs", 7}, {"u_w", 320}, {"hl", "en ü"}, {"uloc", "e1+QmFz/ZTY0=="},
            {"extras", QJsonObject{{"campaign", "spring & summer"}, {"n", 2}}},
            {"kw", QJsonArray{"arcade", "a=b;c"}},
            {"ad_frame", QJsonObject{{"x", 0}, {"y", 430}, {"w", 320}, {"h", 50}}},
        };
        QVERIFY(build(QJsonDocument(params).toJson()));
        QCOMPARE(page->messages().size(), 1);
        const BridgeRecorder::Message answer = page->messages().first();
        QCOMPARE(answer.name, QStringLiteral("loadAdURL"));
        QCOMPARE(answer.value("type"), QStringLiteral("html"));
        // The app's query reader splits at "&", ";" and "=": the ad URL must survive it whole.
        const QString rawQuery = page->intercepted.first().query(QUrl::FullyEncoded);
        QCOMPARE(rawQuery.count('&') + rawQuery.count(';'), 1);
        QCOMPARE(rawQuery.count('='), 2);
        const QUrl adUrl(answer.value("url"));
        QCOMPARE(adUrl.toString(QUrl::RemoveQuery), QString::fromLatin1(harness.base()) + "/ad");
        const QUrlQuery adQuery(adUrl);
        QCOMPARE(adQuery.queryItems().size(), params.size());
        for (auto param = params.begin(); param != params.end(); ++param) {
            const QJsonValue value = param.value();  // nested values go as compact JSON
            const QString sent = value.isObject() || value.isArray()
                ? QString::fromUtf8(QJsonDocument::fromVariant(value.toVariant()).toJson(QJsonDocument::Compact))
                : value.isDouble() ? QString::number(value.toDouble()) : value.toString();
            QCOMPARE(adQuery.queryItemValue(param.key(), QUrl::FullyDecoded), sent);
        }
        QCOMPARE(harness.get(adUrl.toEncoded()).status, 302);
        const QJsonObject logged = harness.stats()["recent"].toArray().last()["parameters"].toObject();
        QCOMPARE(QJsonDocument::fromJson(logged["extras"].toString().toUtf8()).object(), params["extras"].toObject());
        for (const char *key : {"hl", "uloc"})
            QCOMPARE(logged[key].toString(), params[key].toString());

        // Requests it cannot send are refused with a reason.
        const QList<QPair<QByteArray, QString>> cases{
            {"{\"js\": \"x\"}", "invalidRequest"}, {"{\"slotname\": \"abc\"}", "invalidRequest"},
            {"{\"slotname\": 12345}", "invalidRequest"}, {"[\"a1f3c29b07d5e64\"]", "invalidRequest"},
            {"{\"slotname\": \"a0000000000000f\"}", "unableToServe"}};
        for (const auto &[json, expected] : cases) {
            page->intercepted.clear();
            QVERIFY2(build(json), json);
            QVERIFY2(page->messages().size() == 1 && page->messages().first().name == expected, json);
            QVERIFY2(!page->messages().first().value("reason").isEmpty(), json);
        }
    }

    void creativesSpeakTheBridge_data()
    {
        QTest::addColumn<QString>("creative");
        QTest::addColumn<QString>("opens");  // the "a" of its "open" message and where its click-through leads
        QTest::newRow("landing page") << "landing" << "browser /landing/index.html";
        QTest::newRow("web app by URL") << "club" << "webapp /webapp/index.html";
        QTest::newRow("inline web app") << "tips" << "webapp";
        QTest::newRow("mail") << "mail" << "mailto";
        QTest::newRow("application") << "app" << "app velmora-arcade://";
    }

    void creativesSpeakTheBridge()
    {
        QFETCH(QString, creative);
        QFETCH(QString, opens);
        const QString action = opens.section(' ', 0, 0), target = opens.section(' ', 1);
        QVERIFY2(show("/page/" + creative.toLatin1() + "?unit=" + gameUnit + "&rid=9"), "a bridge message spoilt the load");
        QVERIFY(page->intercepted.isEmpty());
        page->run(QStringLiteral("document.getElementById('ad').click()"));
        QVERIFY(waitUntil([&] { return page->intercepted.size() == 5; }));
        const QList<BridgeRecorder::Message> tap = page->messages();
        QStringList sent;
        for (const auto &message : tap)
            sent << message.name;
        const bool mail = action == QLatin1String("mailto");
        QCOMPARE(sent.join(' '), QStringLiteral("touch click httpTrack %1 log").arg(mail ? "mailto" : "open"));
        QVERIFY(!tap[0].value("td").isEmpty());
        QCOMPARE(harness.get(tap[1].value("u").toUtf8()).status, 200);
        QCOMPARE(harness.get(tap[2].value("u").toUtf8()).status, 200);
        QVERIFY(tap.last().value("string").contains(creative));
        QCOMPARE(harness.unitStats()["creatives"][creative]["clicks"].toInt(), 1);
        if (mail) {
            QVERIFY(tap[3].value("subject").contains("Velmora"));
            return;
        }
        QCOMPARE(tap[3].value("a"), action);
        if (target.isEmpty()) {
            QVERIFY(tap[3].value("u").isEmpty());  // the inline page closes itself
            QVERIFY(page->open(QUrl(), tap[3].value("html")));
            page->run(QStringLiteral("document.querySelector('button').click()"));
            QVERIFY(waitUntil([&] { return page->messages("close").size() == 1; }));
            return;
        }
        const auto click = harness.get(tap[3].value("u").toUtf8());
        QCOMPARE(click.status, 302);
        QVERIFY2(click.header("Location").contains(target.toUtf8()), click.header("Location"));
        QCOMPARE(harness.unitStats()["creatives"][creative]["clickThroughs"].toInt(), 1);
    }

    // Last, as the page never stops. The engine lets 200 navigations through per
    // 10 s, so 300 messages show the page still sending once that window ends.
    void floodCreativeKeepsSending()
    {
        show("/page/flood");  // its first load fails: it sends while loading
        QVERIFY(waitUntil([&] { return page->messages("log").size() >= 300; }));
    }
};

VELMORA_TEST_MAIN_WITH(TestAdServer, registerSchemes)
#include "tst_adserver.moc"
