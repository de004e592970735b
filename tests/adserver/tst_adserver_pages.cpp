#include "AdServerHarness.h"
#include "TestMain.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QTimer>
#include <QUrlQuery>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

#include <optional>

namespace {

// Waits in a real event loop: QTest's waits sleep between rounds, and the
// engine, which runs on this thread, then takes seconds for a page load.
bool waitUntil(const std::function<bool()> &done, int timeoutMs = 30000)
{
    const QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done() || deadline.hasExpired())
            loop.quit();
    });
    poll.start(5);
    if (!done())
        loop.exec();
    return done();
}

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
        for (const QByteArray scheme : {"tsmsg", "mailto"})
            profile()->installUrlSchemeHandler(scheme, new RefusingSchemeHandler(profile()));
        // Hidden pages get their timers throttled to once a second; a tap's messages leave 40 ms apart.
        connect(this, &QWebEnginePage::loadStarted, this, [this] { setVisible(true); });
    }

    QList<QUrl> intercepted;
    QStringList consoleErrors;

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

    bool open(const QUrl &url)  // whether the first load of it succeeded
    {
        std::optional<bool> first;
        const auto connection = connect(this, &QWebEnginePage::loadFinished, this, [&](bool ok) { first = first.value_or(ok); });
        load(url);
        waitUntil([&] { return first.has_value(); });
        disconnect(connection);
        return first.value_or(false);
    }

    QVariant run(const QString &script)
    {
        auto result = std::make_shared<std::optional<QVariant>>();  // outlives a timed-out wait
        runJavaScript(script, [result](const QVariant &value) { *result = value; });
        if (!waitUntil([&] { return result->has_value(); }))
            qWarning("script did not finish: %s", qPrintable(script));
        return result->value_or(QVariant());
    }

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType, bool) override
    {
        if (url.scheme() != QLatin1String("tsmsg") && url.scheme() != QLatin1String("mailto"))
            return true;
        intercepted.append(url);
        return false;
    }
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int, const QString &) override
    {
        if (level == ErrorMessageLevel)
            consoleErrors.append(message);
    }
};

}  // namespace

// One server and one page for all checks: a web page costs far more than a check.
class TestAdServerPages : public QObject
{
    Q_OBJECT

    AdServerHarness harness;
    BridgeRecorder page;
    QByteArray script;

    bool build(const QByteArray &json, const QByteArray &coreScript)
    {
        // The page the library builds around the core script.
        page.setHtml(QString::fromUtf8("<html><head><script>" + coreScript + "</script><script>TISKOS_buildAdURL(" + json
                                       + ");</script></head><body></body></html>"),
                     QUrl(QString::fromLatin1(harness.base())));
        return waitUntil([&] { return !page.messages().isEmpty() || page.consoleErrors.size() >= 2; });
    }

private slots:
    void initTestCase() { script = harness.get("/tiskos/sdk-core-v40.js").body; }
    void init()
    {
        page.intercepted.clear();
        page.consoleErrors.clear();
    }

    void coreScriptBuildsAnAdUrlThatCarriesEveryParameter()
    {
        const QJsonObject params{
            {"slotname", ServerOptions::gameAdUnit}, {"js", "tiskos-sdk-i-v4.0.2"}, {"net", "wifi"}, {"testing", "1"},
            {"preqs", 7}, {"u_w", 320}, {"hl", "en ü"}, {"uloc", "e1+QmFz/ZTY0=="},
            {"extras", QJsonObject{{"campaign", "spring & summer"}, {"n", 2}}},
            {"kw", QJsonArray{"arcade", "a=b;c"}},
            {"ad_frame", QJsonObject{{"x", 0}, {"y", 430}, {"w", 320}, {"h", 50}}},
        };
        QVERIFY(build(QJsonDocument(params).toJson(), script));
        QCOMPARE(page.messages().size(), 1);
        const BridgeRecorder::Message answer = page.messages().first();
        QCOMPARE(answer.name, QStringLiteral("loadAdURL"));
        QCOMPARE(answer.value("type"), QStringLiteral("html"));
        // The app's query reader splits at "&", ";" and "=": the ad URL must survive it whole.
        const QString rawQuery = page.intercepted.first().query(QUrl::FullyEncoded);
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
        QCOMPARE(logged["hl"].toString(), QStringLiteral("en ü"));
        QCOMPARE(logged["uloc"].toString(), QStringLiteral("e1+QmFz/ZTY0=="));
    }

    void badRequestsAreRefusedWithAReason()
    {
        const QList<QPair<QByteArray, QString>> cases{
            {"{\"js\": \"x\"}", "invalidRequest"},
            {"{\"slotname\": \"abc\"}", "invalidRequest"},
            {"{\"slotname\": 12345}", "invalidRequest"},
            {"[\"a1f3c29b07d5e64\"]", "invalidRequest"},
            {"{\"slotname\": \"a0000000000000f\"}", "unableToServe"},
        };
        for (const auto &[json, expected] : cases) {
            init();
            QVERIFY2(build(json, script), json);
            QVERIFY2(page.messages().size() == 1 && page.messages().first().name == expected, json);
            QVERIFY2(!page.messages().first().value("reason").isEmpty(), json);
        }
        // A core script that throws answers nothing at all.
        init();
        AdServerHarness garbage({"--fault", "garbage-script"});
        QVERIFY(build("{\"slotname\": \"" + gameUnit + "\"}", garbage.get("/tiskos/sdk-core-v40.js").body));
        QVERIFY(page.messages().isEmpty() && page.consoleErrors.first().contains("garbage-script"));
    }

    void creativesSpeakTheBridge_data()
    {
        QTest::addColumn<QString>("creative");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("target");
        QTest::newRow("landing page") << "landing" << "browser" << "/landing/index.html";
        QTest::newRow("web app by URL") << "club" << "webapp" << "/webapp/index.html";
        QTest::newRow("inline web app") << "tips" << "webapp" << "";
        QTest::newRow("mail") << "mail" << "mailto" << "";
        QTest::newRow("application") << "app" << "app" << "velmora-arcade://";
    }

    void creativesSpeakTheBridge()
    {
        QFETCH(QString, creative);
        QFETCH(QString, action);
        QFETCH(QString, target);
        QVERIFY2(page.open(QUrl(QString::fromLatin1(harness.base() + "/page/") + creative + "?unit=" + gameUnit + "&rid=9")),
                 "the page loads without a bridge message spoiling it");
        QVERIFY(page.intercepted.isEmpty());
        page.run(QStringLiteral("document.getElementById('ad').click()"));
        QVERIFY(waitUntil([&] { return page.intercepted.size() == 5; }));
        const QList<BridgeRecorder::Message> tap = page.messages();
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
            QVERIFY(tap[3].value("u").isEmpty());
            QVERIFY(tap[3].value("html").contains("tsmsg:///close"));
            return;
        }
        const auto click = harness.get(tap[3].value("u").toUtf8());
        QCOMPARE(click.status, 302);
        QVERIFY2(click.header("Location").contains(target.toUtf8()), click.header("Location"));
        QCOMPARE(harness.unitStats()["creatives"][creative]["clickThroughs"].toInt(), 1);
    }

    void webAppPagesAnswerShowHideAndClose()
    {
        QVERIFY(page.open(QUrl(QString::fromLatin1(harness.base() + "/webapp/index.html"))));
        page.run(QStringLiteral("TISKOS_ReceiveMessage('onshow', {version: 'tiskos-sdk-i-v4.0.2'})"));
        QVERIFY(page.run(QStringLiteral("document.getElementById('status').textContent")).toString().contains("v4.0.2"));
        page.run(QStringLiteral("TISKOS_ReceiveMessage('onhide')"));
        QVERIFY(waitUntil([&] { return page.messages("log").size() == 1; }));
        QCOMPARE(page.run(QStringLiteral("document.getElementById('status').textContent")).toString(), QStringLiteral("Paused"));
        page.run(QStringLiteral("document.getElementById('close').click()"));
        QVERIFY(waitUntil([&] { return page.messages("close").size() == 1; }));

        // The tips creative's inline page closes itself the same way.
        QVERIFY(page.open(QUrl(QString::fromLatin1(harness.base() + "/page/tips"))));
        const QString tips = page.run(QStringLiteral("tipsPage")).toString();
        bool loaded = false;
        connect(&page, &QWebEnginePage::loadFinished, this, [&loaded] { loaded = true; }, Qt::SingleShotConnection);
        page.setHtml(tips);
        QVERIFY(waitUntil([&] { return loaded; }));
        page.run(QStringLiteral("document.querySelector('button').click()"));
        QVERIFY(waitUntil([&] { return page.messages("close").size() == 2; }));
    }

    // Last, as the page never stops. The engine lets 200 navigations through per
    // 10 s, so 300 messages show the page still sending once that window ends.
    void floodCreativeKeepsSending()
    {
        page.load(QUrl(QString::fromLatin1(harness.base() + "/page/flood")));
        QVERIFY(waitUntil([&] { return page.messages("log").size() >= 300; }));
    }
};

VELMORA_TEST_MAIN_WITH(TestAdServerPages, registerSchemes)
#include "tst_adserver_pages.moc"
