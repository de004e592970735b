#include "WebView.h"

#include "DelayedPerform.h"
#include "MonotonicClock.h"
#include "RendererWatch.h"
#include "WebPage.h"
#include "WebProfile.h"

#include <QChildEvent>
#include <QWebEngineHistory>
#include <limits>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineProfile>
#include <csignal>
#include <utility>

namespace Velmora::Platform {

namespace {

const QString kErrorDomain = QStringLiteral("WebKitErrorDomain");
constexpr qint64 kTooLargeCode = -1103;
constexpr qint64 kRendererEndedCode = -1105;

}  // namespace

WebView::WebView(QWidget *parent) : QWebEngineView(parent)
{
    setPage(new WebPage(this));
    connect(page(), &QWebEnginePage::loadingChanged, this, &WebView::onLoadingChanged);
    connect(page(), &QWebEnginePage::renderProcessTerminated, this, &WebView::onRenderProcessTerminated);
    setContextMenuPolicy(Qt::NoContextMenu);
    // The engine paints and takes input in a child widget it makes later.
    installEventFilter(this);
}

bool WebView::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ChildAdded:
        if (watched == this)
            static_cast<QChildEvent *>(event)->child()->installEventFilter(this);
        break;
    case QEvent::MouseButtonPress:
    case QEvent::TouchBegin:
        lastUserPress_ = MonotonicClock::seconds();
        break;
    default:
        break;
    }
    return QWebEngineView::eventFilter(watched, event);
}

double WebView::secondsSinceUserPress() const
{
    return lastUserPress_ < 0 ? std::numeric_limits<double>::infinity() : MonotonicClock::seconds() - lastUserPress_;
}

WebView::~WebView()
{
    delegate_ = nullptr;
    // The page must go before the view that it calls back.
    delete page();
}

void WebView::deleteSoon()
{
    delegate_ = nullptr;
    hide();
    setParent(nullptr);
    if (WebProfile::isProgramLeaving())
        delete this;
    else
        deleteLater();
}

void WebView::loadRequest(const QNetworkRequest &request)
{
    loadStopped_ = false;
    htmlBaseURL_.clear();
    if (request.hasRawHeader("Referer")) {
        loadFromReferrer(request.url(), QUrl::fromEncoded(request.rawHeader("Referer")));
        return;
    }
    QWebEngineHttpRequest engineRequest(request.url());
    for (const QByteArray &name : request.rawHeaderList())
        engineRequest.setHeader(name, request.rawHeader(name));
    // Loading from the moment it is asked for, as the phone's view was.
    loading_ = true;
    load(engineRequest);
}

// The engine drops a Referer handed to it with a load; a page really at the
// referring URL that moves on to the target sends it as a browser would.
// That stepping stone is the view's own business: nobody hears of it.
void WebView::loadFromReferrer(const QUrl &url, const QUrl &referrer)
{
    const QString target = QString::fromUtf8(url.toEncoded()).toHtmlEscaped();
    const QByteArray stone = QStringLiteral("<meta name='referrer' content='unsafe-url'>"
                                           "<meta http-equiv='refresh' content='0; url=%1'>")
                                .arg(target)
                                .toUtf8();
    referredURL_ = url;
    steppingStone_ = referrer;
    loading_ = true;
    page()->setContent(stone, QStringLiteral("text/html;charset=UTF-8"), referrer);
}

void WebView::loadHTMLString(const QString &html, const QUrl &baseURL)
{
    steppingStone_.clear();
    const QByteArray data = html.toUtf8();
    if (data.size() > kMaximumHTMLStringBytes) {
        // Reported like any failed load, once the caller has returned.
        performAfterDelay(this, [this, size = data.size()] {
            failLoad(Error::withMessage(kErrorDomain, kTooLargeCode,
                                        QStringLiteral("The page is too large to show (%1 bytes).").arg(size)));
        }, 0);
        return;
    }
    loadStopped_ = false;
    htmlBaseURL_ = baseURL.isValid() ? baseURL : QUrl(QStringLiteral("about:blank"));
    page()->setContent(data, QStringLiteral("text/html;charset=UTF-8"), baseURL);
}

void WebView::evaluateJavaScript(const QString &script)
{
    page()->runJavaScript(script);
}

bool WebView::canGoBack() const
{
    return page()->history()->canGoBack();
}

bool WebView::canGoForward() const
{
    return page()->history()->canGoForward();
}

void WebView::goBack()
{
    page()->triggerAction(QWebEnginePage::Back);
}

void WebView::goForward()
{
    page()->triggerAction(QWebEnginePage::Forward);
}

void WebView::reload()
{
    page()->triggerAction(QWebEnginePage::Reload);
}

void WebView::stopLoading()
{
    loadStopped_ = true;
    page()->triggerAction(QWebEnginePage::Stop);
    endRendererIfStuck();
}

void WebView::endRendererIfStuck()
{
    const qint64 pid = page()->renderProcessPid();
    RendererWatch::shared()->check(page(), this, [this, pid](bool stuck) {
        if (stuck && page()->renderProcessPid() == pid)
            ::kill(pid_t(pid), SIGKILL);
    });
}

QUrl WebView::requestURL() const
{
    const QUrl current = page()->url();
    if (current.scheme() == QLatin1String("data") && htmlBaseURL_.isValid())
        return htmlBaseURL_;
    return current;
}

QString WebView::userAgent() const
{
    return page()->profile()->httpUserAgent();
}

bool WebView::shouldStartLoad(const QUrl &url, WebViewDelegate::NavigationType type, bool isMainFrame)
{
    // Bringing back a page that was already shown is nobody's new navigation.
    if (isMainFrame && std::exchange(reviving_, false))
        return true;
    if (isMainFrame && referredURL_.isValid()) {
        if (url.scheme() == QLatin1String("data"))
            return true;
        if (url == referredURL_) {
            referredURL_.clear();
            type = WebViewDelegate::Other;
        }
    }
    const bool htmlString = isMainFrame && url.scheme() == QLatin1String("data") && htmlBaseURL_.isValid();
    QNetworkRequest request(htmlString ? htmlBaseURL_ : url);
    request.setRawHeader("User-Agent", userAgent().toUtf8());
    const bool allowed = !delegate_
        || delegate_->webViewShouldStartLoad(this, request, htmlString ? WebViewDelegate::Other : type);
    if (allowed && isMainFrame && !htmlString)
        htmlBaseURL_.clear();
    return allowed;
}

void WebView::onLoadingChanged(const QWebEngineLoadingInfo &info)
{
    if (!steppingStone_.isEmpty() && (info.url() == steppingStone_ || info.url().scheme() == QLatin1String("data")))
        return;
    switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
        loading_ = true;
        loadStopped_ = false;
        rendererEndedLoad_ = false;
        if (delegate_)
            delegate_->webViewDidStartLoad(this);
        break;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
        RendererWatch::shared()->signOfLife(page()->renderProcessPid());
        loading_ = false;
        if (delegate_)
            delegate_->webViewDidFinishLoad(this);
        break;
    case QWebEngineLoadingInfo::LoadStoppedStatus:
        // Stopped, or replaced by a newer load: not a failure of the page.
        loading_ = false;
        break;
    case QWebEngineLoadingInfo::LoadFailedStatus: {
        if (std::exchange(loadStopped_, false)) {
            loading_ = false;
            break;
        }
        // Already reported when its renderer ended.
        if (std::exchange(rendererEndedLoad_, false))
            break;
        Error error = Error::withMessage(kErrorDomain, info.errorCode(), info.errorString());
        error.userInfo.insert(Error::FailingURLKey, info.url());
        failLoad(error);
        break;
    }
    }
}

// A page that dies after loading leaves an empty view for the next load; a
// previous page dying must not fail a load that has not begun.
void WebView::onRenderProcessTerminated(QWebEnginePage::RenderProcessTerminationStatus status, int exitCode)
{
    // A renderer ended after a stop was asked for ends nothing more.
    if (loadStopped_)
        return;
    // Pages that share a renderer die with it: one that was shown comes
    // back, in a fresh renderer.
    if (!loading_) {
        reviving_ = true;
        page()->triggerAction(QWebEnginePage::Reload);
        return;
    }
    rendererEndedLoad_ = true;
    failLoad(Error::withMessage(kErrorDomain, kRendererEndedCode,
                                QStringLiteral("The page's renderer ended (status %1, exit code %2).")
                                    .arg(int(status))
                                    .arg(exitCode)));
}

void WebView::failLoad(const Error &error)
{
    loading_ = false;
    if (delegate_)
        delegate_->webViewDidFailLoadWithError(this, error);
}

}  // namespace Velmora::Platform
