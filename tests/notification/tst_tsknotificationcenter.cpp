#include "Notification/TSKNotificationCenter.h"
#include "PageScript.h"
#include "Request/TSKRequest.h"
#include "TestMain.h"
#include "WebView.h"

#include <QSignalSpy>

namespace {

// Records every notification posted on the default center while it lives.
class Recorder : public QObject
{
public:
    explicit Recorder(NotificationCenter *center = NotificationCenter::defaultCenter())
    {
        center->addObserver(this, QString(), nullptr, [this](const Notification &n) { received.append(n); });
    }
    ~Recorder() override { NotificationCenter::defaultCenter()->removeObserver(this); }

    QStringList names() const
    {
        QStringList names;
        for (const Notification &n : received)
            names << n.name();
        return names;
    }

    QList<Notification> received;
};

QUrl url(const char *text)
{
    return QUrl(QString::fromUtf8(text));
}

}  // namespace

class TestNotificationCenter : public QObject
{
    Q_OBJECT
private slots:
    void isTheProcessDefaultCenter()
    {
        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        QCOMPARE(TSKNotificationCenter::defaultCenter(), center);
        QObject observer;
        int heard = 0;
        NotificationCenter::defaultCenter()->addObserver(&observer, QStringLiteral("close"), nullptr,
                                                         [&heard](const Notification &) { ++heard; });
        center->postNotificationFromURLObject(url("tiskos://closecanvas"), nullptr);
        QCOMPARE(heard, 1);
        center->removeObserver(&observer);
        NotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("close"));
        QCOMPARE(heard, 1);
    }

    void postsTheMessageOfABridgeURL()
    {
        Recorder recorder;
        QObject page;
        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        center->postNotificationFromURLObject(url("tsmsg:///loadAdURL?url=http%3A%2F%2F127.0.0.1%3A8470%2Fad&type=tiskos"),
                                              &page);
        center->postNotificationFromURLObject(url("tiskos://launch?url=http%3A%2F%2Fexample.org%2F"), &page);
        center->postNotificationFromURLObject(url("tiskos://unknown?url=x"), &page);
        center->postNotificationFromURLObject(url("http://127.0.0.1/loadAdURL?url=x"), &page);

        QCOMPARE(recorder.names(), QStringList({QStringLiteral("loadAdURL"), QStringLiteral("open")}));
        const Notification &load = recorder.received.at(0);
        QCOMPARE(load.object(), &page);
        QCOMPARE(load.userInfo(), QVariantMap({{QStringLiteral("url"), QStringLiteral("http://127.0.0.1:8470/ad")},
                                               {QStringLiteral("type"), QStringLiteral("tiskos")}}));
        QCOMPARE(recorder.received.at(1).userInfo(),
                 QVariantMap({{QStringLiteral("a"), QStringLiteral("browser")},
                              {QStringLiteral("u"), QStringLiteral("http://example.org/")}}));
    }

    void delayedPostsComeAfterTheCurrentEventInOrder()
    {
        Recorder recorder;
        QObject page;
        auto goneFirst = std::make_unique<QObject>();
        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        center->postNotificationFromURLObjectWithDelay(url("tsmsg:///first"), &page, 0);
        center->postNotificationFromURLObjectWithDelay(url("tsmsg:///dropped"), goneFirst.get(), 0);
        center->postNotificationFromURLObjectWithDelay(url("tsmsg:///second?x=1"), nullptr, 0);
        center->postNotificationFromURLObject(url("tsmsg:///immediate"), &page);
        goneFirst.reset();
        QCOMPARE(recorder.names(), QStringList{QStringLiteral("immediate")});

        QTRY_COMPARE(recorder.names(), QStringList({QStringLiteral("immediate"), QStringLiteral("first"),
                                                    QStringLiteral("second")}));
        QCOMPARE(recorder.received.at(1).object(), &page);
        QCOMPARE(recorder.received.at(2).object(), nullptr);
        QCOMPARE(recorder.received.at(2).userInfo(), QVariantMap({{QStringLiteral("x"), QStringLiteral("1")}}));
    }

    void messagesReachThePageFunction()
    {
        WebView view;
        QSignalSpy finished(&view, &QWebEngineView::loadFinished);
        view.loadHTMLString(QStringLiteral("<html><body><script>"
                                           "var calls = [];"
                                           "function TISKOS_ReceiveMessage() {"
                                           "  calls.push(JSON.stringify(Array.prototype.slice.call(arguments)));"
                                           "}</script></body></html>"),
                            QUrl(QStringLiteral("http://127.0.0.1:8470/")));
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 20000);

        TSKNotificationCenter *center = TSKNotificationCenter::defaultCenter();
        center->postJSNotificationUserInfoWebView(QStringLiteral("onshow"),
                                                  QVariantMap{{QStringLiteral("version"), TSKRequest::sdkVersion()}},
                                                  &view);
        center->postJSNotificationUserInfoWebView(QStringLiteral("onhide"), std::nullopt, &view);
        center->postJSNotificationUserInfoWebView(
            QStringLiteral("custom"),
            QVariantMap{{QStringLiteral("list"), QVariantList{1, QStringLiteral("it's")}},
                        {QStringLiteral("quote"), QStringLiteral("\"</script>")}},
            &view);
        center->postJSNotificationUserInfoWebView(QStringLiteral("nobody"), std::nullopt, nullptr);

        QCOMPARE(testsupport::evaluateInPage(view.page(), QStringLiteral("calls.join('\\n')")).toString(),
                 QStringLiteral("[\"onshow\",{\"version\":\"tiskos-sdk-i-v4.0.2\"}]\n"
                                "[\"onhide\"]\n"
                                "[\"custom\",{\"list\":[1,\"it's\"],\"quote\":\"\\\"</script>\"}]"));
    }
};

VELMORA_TEST_MAIN_WITH(TestNotificationCenter, WebView::registerSchemes)
#include "tst_tsknotificationcenter.moc"
