#pragma once

#include "WebViewDelegate.h"

#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <QWebEngineView>

class QWebEngineLoadingInfo;

namespace Velmora::Platform {

// A web view with the phone's interface over Qt WebEngine. It works without
// ever being shown, so it can also run pages nobody sees. Its page lives in
// the shared WebProfile; the delegate (not owned) decides every navigation.
// A renderer that dies under a loading page fails that load; the next load
// starts a fresh one.
class WebView : public QWebEngineView
{
    Q_OBJECT
public:
    // What setHtml can carry; a larger page fails to load instead.
    static constexpr qsizetype kMaximumHTMLStringBytes = 1536 * 1024;

    explicit WebView(QWidget *parent = nullptr);
    ~WebView() override;

    // Takes the view off the screen and deletes it once its page's callbacks
    // have returned; at once when the program's event loop has ended, so the
    // page never outlives the engine.
    void deleteSoon();

    WebViewDelegate *delegate() const { return delegate_; }
    void setDelegate(WebViewDelegate *delegate) { delegate_ = delegate; }

    // Loads the request's URL with its raw headers (a Referer, say).
    void loadRequest(const QNetworkRequest &request);
    // Shows `html` as if it had been loaded from `baseURL`: relative links
    // resolve against it, the page's location is that URL, and the delegate
    // is asked about that URL (navigation type Other).
    void loadHTMLString(const QString &html, const QUrl &baseURL);
    // Runs the script in the current page; the result is not waited for.
    void evaluateJavaScript(const QString &script);

    bool isLoading() const { return loading_; }
    bool canGoBack() const;
    bool canGoForward() const;
    void goBack();
    void goForward();
    void reload();
    // Also ends the page's renderer process if it turns out stuck (see
    // RendererWatch): pages share that process (WebProfile), and a script
    // that never yields would hold up every other page in it. A renderer that
    // is only slow is left alone. The stopped load is not reported, however
    // it ends.
    void stopLoading();

    // The URL of the page shown or being loaded.
    QUrl requestURL() const;
    QString userAgent() const;

    // Seconds since the user last pressed on the page (a mouse button or a
    // touch); infinity if never. A page's script cannot fake one.
    double secondsSinceUserPress() const;

    // Called by the page for every navigation it is about to start.
    bool shouldStartLoad(const QUrl &url, WebViewDelegate::NavigationType type, bool isMainFrame);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void loadFromReferrer(const QUrl &url, const QUrl &referrer);
    void onLoadingChanged(const QWebEngineLoadingInfo &info);
    void onRenderProcessTerminated(QWebEnginePage::RenderProcessTerminationStatus status, int exitCode);
    void failLoad(const Error &error);
    void endRendererIfStuck();

    WebViewDelegate *delegate_ = nullptr;
    bool loading_ = false;
    bool loadStopped_ = false;
    bool rendererEndedLoad_ = false;
    // While an HTML string loads, the engine navigates to a data: URL; the
    // delegate sees the base URL instead.
    QUrl htmlBaseURL_;
    // A load with a Referer goes through a page at the referring URL.
    QUrl referredURL_;
    QUrl steppingStone_;
    bool reviving_ = false;
    double lastUserPress_ = -1;
};

}  // namespace Velmora::Platform
