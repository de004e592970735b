#include "PageScript.h"
#include "TestMain.h"
#include "WebProfile.h"
#include "WebView.h"

#include <QSignalSpy>

class TestWebView : public QObject
{
    Q_OBJECT
private slots:
    void htmlStringRunsUnseenUnderItsBaseURLAndTakesScripts()
    {
        WebView view;
        QSignalSpy finished(&view, &QWebEngineView::loadFinished);
        const QUrl base(QStringLiteral("http://127.0.0.1:8470/tiskos/page.html"));
        view.loadHTMLString(QStringLiteral("<a id='l' href='next.html'>x</a><script>var seen = [];</script>"), base);
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 20000);
        QVERIFY(finished.first().first().toBool());
        QVERIFY(!view.isVisible());

        QCOMPARE(testsupport::evaluateInPage(view.page(), QStringLiteral("location.href")).toString(), base.toString());
        QCOMPARE(testsupport::evaluateInPage(view.page(), QStringLiteral("document.getElementById('l').href")).toString(),
                 QStringLiteral("http://127.0.0.1:8470/tiskos/next.html"));
        view.evaluateJavaScript(QStringLiteral("seen.push('first');"));
        view.evaluateJavaScript(QStringLiteral("seen.push('second');"));
        QCOMPARE(testsupport::evaluateInPage(view.page(), QStringLiteral("seen.join(',')")).toString(),
                 QStringLiteral("first,second"));
    }
};

VELMORA_TEST_MAIN_WITH(TestWebView, [] { WebProfile::registerSchemes({"tsmsg", "mailto", "velmora-arcade"}); })
#include "tst_webview.moc"
