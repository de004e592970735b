#pragma once

#include "WebViewDelegate.h"

#include <QNetworkRequest>
#include <QSizeF>
#include <QString>
#include <QUrl>
#include <functional>

class QObject;
class QWebEngineHttpRequest;
class QWebEngineLoadingInfo;

namespace Velmora::Platform {

// Web content with the phone's interface, whatever draws it: a widget, a Qt
// Quick item, or nothing at all. The rules of loading live here once; each
// kind only hands the engine's events in and carries out what the engine is
// asked to do. The delegate (not owned) decides every navigation. A renderer
// that dies under a loading page fails that load; the next load starts a
// fresh one.
class WebContent
{
public:
    // What an HTML string can carry; a larger page fails to load instead.
    static constexpr qsizetype kMaximumHTMLStringBytes = 1536 * 1024;

    virtual ~WebContent();

    WebViewDelegate *delegate() const { return delegate_; }
    void setDelegate(WebViewDelegate *delegate) { delegate_ = delegate; }

    // Loads the request's URL with its raw headers (a Referer, say; content
    // drawn in Qt Quick carries the Referer only).
    void loadRequest(const QNetworkRequest &request);
    // Shows `html` as if it had been loaded from `baseURL`: relative links
    // resolve against it, the page's location is that URL, and the delegate
    // is asked about that URL (navigation type Other).
    void loadHTMLString(const QString &html, const QUrl &baseURL);
    // Runs the script in the current page; the result is not waited for.
    void evaluateJavaScript(const QString &script) { engineRunJavaScript(script); }

    bool isLoading() const { return loading_; }
    virtual bool canGoBack() const = 0;
    virtual bool canGoForward() const = 0;
    void goBack() { engineTrigger(Action::Back); }
    void goForward() { engineTrigger(Action::Forward); }
    void reload() { engineTrigger(Action::Reload); }
    // Also ends the renderer if it turns out stuck (see RendererWatch). The
    // stopped load is not reported, however it ends.
    void stopLoading();

    // The URL of the page shown or being loaded.
    QUrl requestURL() const;
    virtual QString userAgent() const = 0;
    // The size the page lays itself out at.
    virtual QSizeF contentsSize() const = 0;
    // The renderer process behind the page; 0 while there is none.
    virtual qint64 renderProcessPid() const = 0;
    // Asks the renderer for a trivial answer; `answered` hears whether one
    // came (a page dropped meanwhile gives none).
    virtual void ping(std::function<void(bool answered)> answered) = 0;

    // Seconds since the user last pressed on the page (a mouse button or a
    // touch); infinity if never. A page's script cannot fake one.
    double secondsSinceUserPress() const;

    // Takes the content off the screen and deletes it once its page's
    // callbacks have returned; at once when the program's event loop has
    // ended, so the page never outlives the engine.
    virtual void deleteSoon() = 0;
    // The object the content lives as: deferred work is bound to it.
    virtual QObject *contentObject() = 0;

    // What the engine asks and tells, handed in by each kind: every
    // navigation it is about to start, the loads, the renderer's end, and a
    // real press on the page.
    bool shouldStartLoad(const QUrl &url, WebViewDelegate::NavigationType type, bool isMainFrame);
    void engineLoadingChanged(const QWebEngineLoadingInfo &info);
    void engineRendererTerminated(int status, int exitCode);
    void userPressed();
    // The engine's navigation types (the page's and the request's share values).
    static WebViewDelegate::NavigationType navigationTypeFromEngine(int engineType);

protected:
    enum class Action { Back, Forward, Reload, Stop };

    virtual void engineLoad(const QWebEngineHttpRequest &request) = 0;
    virtual void engineSetContent(const QByteArray &html, const QUrl &baseURL) = 0;
    virtual void engineRunJavaScript(const QString &script) = 0;
    virtual void engineTrigger(Action action) = 0;
    virtual QUrl engineURL() const = 0;

    void forgetDelegate() { delegate_ = nullptr; }

private:
    void loadFromReferrer(const QUrl &url, const QUrl &referrer);
    void failLoad(const Error &error);
    void endRendererIfStuck();

    WebViewDelegate *delegate_ = nullptr;
    bool loading_ = false;
    bool loadStopped_ = false;
    bool rendererEndedLoad_ = false;
    bool showing_ = false;
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
