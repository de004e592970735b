#include "AdServerHarness.h"
#include "BridgeRecorder.h"
#include "TestMain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>

namespace {

const QByteArray gameUnit = ServerOptions::gameAdUnit.toLatin1();
constexpr int webTimeout = 30000;

// The page the library builds around the core script.
QString buildPage(const QByteArray &script, const QByteArray &json)
{
    return QString::fromUtf8("<html><head><script>" + script + "</script><script>TISKOS_buildAdURL(" + json
                             + ");</script></head><body></body></html>");
}

QVariant evaluate(QWebEnginePage &page, const QString &script)
{
    QVariant result;
    bool done = false;
    page.runJavaScript(script, [&](const QVariant &value) {
        result = value;
        done = true;
    });
    if (!QTest::qWaitFor([&] { return done; }, webTimeout))
        qWarning("script did not finish: %s", qPrintable(script));
    return result;
}

// Refused bridge navigations report failed loads of their own, so wait for the successful one.
bool load(BridgeRecorder &page, const QUrl &url)
{
    QSignalSpy loaded(&page, &QWebEnginePage::loadFinished);
    page.load(url);
    return QTest::qWaitFor([&] {
        return std::any_of(loaded.cbegin(), loaded.cend(), [](const QList<QVariant> &args) { return args.first().toBool(); });
    }, webTimeout);
}

// The value as the core script is expected to put it in the ad URL.
QString sentText(const QJsonValue &value)
{
    if (value.isObject())
        return QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact));
    if (value.isArray())
        return QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact));
    if (value.isDouble())
        return QString::number(value.toDouble());
    return value.toString();
}

}  // namespace

class TestAdServerPages : public QObject
{
    Q_OBJECT

private slots:
    void coreScriptBuildsAnAdUrlThatCarriesEveryParameter()
    {
        AdServerHarness harness;
        const QByteArray script = harness.get("/tiskos/sdk-core-v40.js").body;
        const QJsonObject params{
            {"slotname", QString::fromLatin1(gameUnit)},
            {"js", "tiskos-sdk-i-v4.0.2"},
            {"net", "wifi"},
            {"testing", "1"},
            {"preqs", 7},
            {"u_w", 320},
            {"hl", "en ü"},
            {"uloc", "e1+QmFz/ZTY0=="},
            {"extras", QJsonObject{{"campaign", "spring & summer"}, {"n", 2}}},
            {"kw", QJsonArray{"arcade", "a=b;c"}},
            {"ad_frame", QJsonObject{{"x", 0}, {"y", 430}, {"w", 320}, {"h", 50}}},
        };
        BridgeRecorder page;
        page.setHtml(buildPage(script, QJsonDocument(params).toJson()), QUrl(QString::fromLatin1(harness.base())));
        QTRY_COMPARE_WITH_TIMEOUT(page.messages().size(), 1, webTimeout);

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
        for (auto param = params.begin(); param != params.end(); ++param)
            QCOMPARE(adQuery.queryItemValue(param.key(), QUrl::FullyDecoded), sentText(param.value()));

        const auto ad = harness.get(adUrl.toEncoded());
        QCOMPARE(ad.status, 302);
        const QJsonObject logged = harness.stats()["recent"].toArray().last()["parameters"].toObject();
        QCOMPARE(QJsonDocument::fromJson(logged["extras"].toString().toUtf8()).object(), params["extras"].toObject());
        QCOMPARE(logged["hl"].toString(), QStringLiteral("en ü"));
        QCOMPARE(logged["uloc"].toString(), QStringLiteral("e1+QmFz/ZTY0=="));
    }

    void badRequestsAreRefusedWithAReason()
    {
        AdServerHarness harness;
        const QByteArray script = harness.get("/tiskos/sdk-core-v40.js").body;
        const QList<QPair<QByteArray, QString>> cases{
            {"{\"js\": \"x\"}", "invalidRequest"},
            {"{\"slotname\": \"abc\"}", "invalidRequest"},
            {"{\"slotname\": 12345}", "invalidRequest"},
            {"[\"a1f3c29b07d5e64\"]", "invalidRequest"},
            {"{\"slotname\": \"a0000000000000f\"}", "unableToServe"},
        };
        for (const auto &[json, expected] : cases) {
            BridgeRecorder page;
            page.setHtml(buildPage(script, json), QUrl(QString::fromLatin1(harness.base())));
            QTRY_COMPARE_WITH_TIMEOUT(page.messages().size(), 1, webTimeout);
            QVERIFY2(page.messages().first().name == expected, json);
            QVERIFY2(!page.messages().first().value("reason").isEmpty(), json);
        }
    }

    void garbageScriptThrowsInsteadOfAnswering()
    {
        ServerOptions options = AdServerHarness::defaultOptions();
        options.faults = {QStringLiteral("garbage-script")};
        AdServerHarness harness(options);
        BridgeRecorder page;
        page.setHtml(buildPage(harness.get("/tiskos/sdk-core-v40.js").body, "{\"slotname\": \"" + gameUnit + "\"}"),
                     QUrl(QString::fromLatin1(harness.base())));
        QTRY_COMPARE_WITH_TIMEOUT(page.consoleErrors.size(), 2, webTimeout);
        QVERIFY(page.consoleErrors.first().contains("garbage-script"));
        QVERIFY(page.messages().isEmpty());
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
        AdServerHarness harness;
        BridgeRecorder page;
        QSignalSpy loaded(&page, &QWebEnginePage::loadFinished);
        page.load(QUrl(QString::fromLatin1(harness.base() + "/page/") + creative + "?unit=" + gameUnit + "&rid=9"));
        QVERIFY(loaded.wait(webTimeout));
        QVERIFY2(loaded.first().first().toBool(), "the page loads without a bridge message spoiling it");
        QVERIFY(page.intercepted.isEmpty());

        evaluate(page, QStringLiteral("document.getElementById('ad').click()"));
        QTRY_COMPARE_WITH_TIMEOUT(page.intercepted.size(), 5, webTimeout);
        const QList<BridgeRecorder::Message> tap = page.messages();
        QCOMPARE(tap.at(0).name, QStringLiteral("touch"));
        QVERIFY(!tap.at(0).value("td").isEmpty());
        QCOMPARE(tap.at(1).name, QStringLiteral("click"));
        QCOMPARE(harness.get(tap.at(1).value("u").toUtf8()).status, 200);
        QCOMPARE(tap.at(2).name, QStringLiteral("httpTrack"));
        QCOMPARE(harness.get(tap.at(2).value("u").toUtf8()).status, 200);
        QVERIFY(tap.last().name == QLatin1String("log") && tap.last().value("string").contains(creative));
        const QString unit = QString::fromLatin1(gameUnit);
        QCOMPARE(harness.stats()["units"][unit]["creatives"][creative]["clicks"].toInt(), 1);

        if (action == QLatin1String("mailto")) {
            const QUrl mail = page.intercepted.at(3);
            QCOMPARE(mail.scheme(), QStringLiteral("mailto"));
            QVERIFY(QUrlQuery(mail).queryItemValue("subject", QUrl::FullyDecoded).contains("Velmora"));
            return;
        }
        const BridgeRecorder::Message open = tap.at(3);
        QCOMPARE(open.name, QStringLiteral("open"));
        QCOMPARE(open.value("a"), action);
        if (target.isEmpty()) {
            QVERIFY(open.value("u").isEmpty());
            QVERIFY(open.value("html").contains("tsmsg:///close"));
            return;
        }
        const auto click = harness.get(open.value("u").toUtf8());
        QCOMPARE(click.status, 302);
        QVERIFY2(click.header("Location").contains(target.toUtf8()), click.header("Location"));
        QCOMPARE(harness.stats()["units"][unit]["creatives"][creative]["clickThroughs"].toInt(), 1);
    }

    void webAppPagesAnswerShowHideAndClose()
    {
        AdServerHarness harness;
        BridgeRecorder club;
        QVERIFY(load(club, QUrl(QString::fromLatin1(harness.base() + "/webapp/index.html"))));
        evaluate(club, QStringLiteral("TISKOS_ReceiveMessage('onshow', {version: 'tiskos-sdk-i-v4.0.2'})"));
        QVERIFY(evaluate(club, QStringLiteral("document.getElementById('status').textContent")).toString().contains("v4.0.2"));
        evaluate(club, QStringLiteral("TISKOS_ReceiveMessage('onhide')"));
        QTRY_COMPARE_WITH_TIMEOUT(club.messagesNamed("log").size(), 1, webTimeout);
        QCOMPARE(evaluate(club, QStringLiteral("document.getElementById('status').textContent")).toString(), QStringLiteral("Paused"));
        evaluate(club, QStringLiteral("document.getElementById('close').click()"));
        QTRY_COMPARE_WITH_TIMEOUT(club.messagesNamed("close").size(), 1, webTimeout);

        // The tips creative's inline page closes itself the same way.
        BridgeRecorder creative;
        QVERIFY(load(creative, QUrl(QString::fromLatin1(harness.base() + "/page/tips"))));
        BridgeRecorder tips;
        QSignalSpy loaded(&tips, &QWebEnginePage::loadFinished);
        tips.setHtml(evaluate(creative, QStringLiteral("tipsPage")).toString());
        QVERIFY(loaded.wait(webTimeout));
        evaluate(tips, QStringLiteral("document.querySelector('button').click()"));
        QTRY_COMPARE_WITH_TIMEOUT(tips.messagesNamed("close").size(), 1, webTimeout);
    }

    void floodCreativeKeepsSending()
    {
        AdServerHarness harness;
        BridgeRecorder page;
        QVERIFY(load(page, QUrl(QString::fromLatin1(harness.base() + "/page/flood"))));
        QTRY_VERIFY_WITH_TIMEOUT(page.messagesNamed("log").size() >= 300, webTimeout);
    }
};

VELMORA_TEST_MAIN_WITH(TestAdServerPages, BridgeRecorder::registerSchemes)
#include "tst_adserver_pages.moc"
