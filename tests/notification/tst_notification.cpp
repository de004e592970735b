#include "Notification/TSKNotification.h"
#include "Notification/TSKNotificationCenter.h"
#include "PageScript.h"
#include <VelmoraAds/TSKRequest.h>
#include "TestMain.h"
#include "View/TSKWebViewDelegate.h"
#include "WebView.h"

#include <QSignalSpy>

using namespace Velmora::Platform;

class TestNotification : public QObject
{
    Q_OBJECT
private slots:
    void bridgeURLsByScheme()
    {
        struct Case
        {
            const char *url;
            const char *name;  // none: not a message
            std::optional<QVariantMap> parameters;
        };
        const Case cases[] = {
            {"tsmsg:///loadAdURL?url=http%3A%2F%2F127.0.0.1%2Fad%3Fa%3D1%26b%3D2&type=tiskos", "loadAdURL",
             QVariantMap{{"url", "http://127.0.0.1/ad?a=1&b=2"}, {"type", "tiskos"}}},
            // The host is not looked at; keys are lowercased, values are not.
            {"tsmsg://anything/click?URL=A%20B;Second=x", "click", QVariantMap{{"url", "A B"}, {"second", "x"}}},
            // For "tiskos" the host picks the action.
            {"tiskos://launch?url=http%3A%2F%2Fexample.org%2F&x=1", "open",
             QVariantMap{{"a", "browser"}, {"u", "http://example.org/"}}},
            {"tiskos://launch", "open", QVariantMap{{"a", "browser"}}},
            {"tiskos://closecanvas?x=1", "close", std::nullopt},
            {"tiskos://log?Msg=hello%20there&level=2", "log", QVariantMap{{"msg", "hello there"}, {"level", "2"}}},
            {"tsmsg:", nullptr, {}},
            {"http:///loadAdURL?url=x", nullptr, {}},
            {"tiskos://click?url=x", nullptr, {}},
            {"tiskos:///launch?url=x", nullptr, {}},
            {"tiskos:", nullptr, {}}};
        for (const auto &[url, name, parameters] : cases) {
            const auto notification = TSKNotification::notificationFromURL(QUrl(url));
            QVERIFY2(bool(notification) == bool(name), url);
            if (notification) {
                QCOMPARE(notification->name(), QString(name));
                QVERIFY2(notification->parameters() == parameters, url);
            }
        }
        QVERIFY(TSKNotification::notificationFromURL(QUrl("tiskos://closecanvas"))
                    ->description()
                    .endsWith(": name:close parameters:(null)"));
        QVERIFY(TSKNotification::isTSMSGNotificationURL(QUrl("tsmsg:///a")));
        QVERIFY(TSKNotification::isTiskosNotificationURL(QUrl("tiskos://unknown")));
        QVERIFY(!TSKNotification::isNotificationURL(QUrl("http://tsmsg/tiskos")));
    }

    // Parsed as above; the library's center is the process's default one.
    void postsBridgeURLsNowOrOnTheNextTurn()
    {
        QList<Notification> received;
        QStringList names;
        QObject observer, page;  // after `received`, so the observer goes first
        NotificationCenter::defaultCenter()->addObserver(&observer, QString(), nullptr, [&](const Notification &n) {
            received.append(n);
            names << n.name();
        });
        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        center->postNotificationFromURLObject(QUrl("tsmsg:///loadAdURL?url=http%3A%2F%2F127.0.0.1%3A8470%2Fad&type=tiskos"),
                                              &page);
        center->postNotificationFromURLObject(QUrl("tiskos://unknown?url=x"), &page);
        center->postNotificationFromURLObject(QUrl("tiskos://closecanvas"), &page);
        QCOMPARE(names, QStringList({"loadAdURL", "close"}));
        QCOMPARE(received[0].object(), &page);
        QCOMPARE(received[0].userInfo(), QVariantMap({{"url", "http://127.0.0.1:8470/ad"}, {"type", "tiskos"}}));
        QVERIFY(received[1].userInfo().isEmpty());

        // Delayed posts wait for the next event-loop turn, keep their order and skip senders gone by then.
        auto goneFirst = std::make_unique<QObject>();
        center->postNotificationFromURLObjectWithDelay(QUrl("tsmsg:///first"), &page, 0);
        center->postNotificationFromURLObjectWithDelay(QUrl("tsmsg:///dropped"), goneFirst.get(), 0);
        center->postNotificationFromURLObjectWithDelay(QUrl("tsmsg:///second?x=1"), nullptr, 0);
        center->postNotificationFromURLObject(QUrl("tsmsg:///immediate"), &page);
        goneFirst.reset();
        QCOMPARE(names.mid(2), QStringList{"immediate"});
        QTRY_COMPARE_WITH_TIMEOUT(names.mid(2), QStringList({"immediate", "first", "second"}), 20000);
        QCOMPARE(received[3].object(), &page);
        QCOMPARE(received[4].object(), nullptr);
        QCOMPARE(received[4].userInfo(), QVariantMap({{"x", "1"}}));

        NotificationCenter::defaultCenter()->removeObserver(&observer);
        center->postNotificationFromURLObject(QUrl("tiskos://closecanvas"), nullptr);
        QCOMPARE(received.size(), 5);
    }

    void messagesReachThePageFunction()
    {
        WebView view;
        QSignalSpy finished(&view, &QWebEngineView::loadFinished);
        view.loadHTMLString("<html><body><script>var calls = [];"
                            "function TISKOS_ReceiveMessage() {"
                            "  calls.push(JSON.stringify(Array.prototype.slice.call(arguments)));"
                            "}</script></body></html>",
                            QUrl("http://127.0.0.1:8470/"));
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 20000);

        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        center->postJSNotificationUserInfoWebView("onshow", QVariantMap{{"version", TSKRequest::sdkVersion()}}, &view);
        center->postJSNotificationUserInfoWebView("onhide", std::nullopt, &view);
        center->postJSNotificationUserInfoWebView(
            "custom", QVariantMap{{"list", QVariantList{1, "it's"}}, {"quote", "\"</script>"}}, &view);
        center->postJSNotificationUserInfoWebView("nobody", std::nullopt, nullptr);
        QCOMPARE(testsupport::evaluateInPage(view.page(), "calls.join('\\n')").toString(),
                 QString("[\"onshow\",{\"version\":\"tiskos-sdk-i-v4.0.2\"}]\n"
                         "[\"onhide\"]\n"
                         "[\"custom\",{\"list\":[1,\"it's\"],\"quote\":\"\\\"</script>\"}]"));
    }
};

VELMORA_TEST_MAIN_WITH(TestNotification, [] { TSKWebViewDelegate::registerSchemes(); })
#include "tst_notification.moc"
