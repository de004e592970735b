#include "WebView.h"

#include "DelayedPerform.h"
#include "WebPage.h"
#include "WebProfile.h"

#include <QWebEngineHistory>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineProfile>

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
}

WebView::~WebView()
{
    delegate_ = nullptr;
    // The page must go before the view that it calls back.
    delete page();
}

void WebView::loadRequest(const QNetworkRequest &request)
{
    htmlBaseURL_.clear();
    QWebEngineHttpRequest engineRequest(request.url());
    for (const QByteArray &name : request.rawHeaderList())
        engineRequest.setHeader(name, request.rawHeader(name));
    load(engineRequest);
}

void WebView::loadHTMLString(const QString &html, const QUrl &baseURL)
{
    const QByteArray data = html.toUtf8();
    if (data.size() > kMaximumHTMLStringBytes) {
        // Reported like any failed load, once the caller has returned.
        performAfterDelay(this, [this, size = data.size()] {
            failLoad(Error::withMessage(kErrorDomain, kTooLargeCode,
                                        QStringLiteral("The page is too large to show (%1 bytes).").arg(size)));
        }, 0);
        return;
    }
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
    page()->triggerAction(QWebEnginePage::Stop);
}

QUrl WebView::requestURL() const
{
    const QUrl current = page()->requestedUrl();
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
    switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
        loading_ = true;
        rendererEndedLoad_ = false;
        if (delegate_)
            delegate_->webViewDidStartLoad(this);
        break;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
        loading_ = false;
        if (delegate_)
            delegate_->webViewDidFinishLoad(this);
        break;
    case QWebEngineLoadingInfo::LoadStoppedStatus:
        // Stopped, or replaced by a newer load: not a failure of the page.
        loading_ = false;
        break;
    case QWebEngineLoadingInfo::LoadFailedStatus: {
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
    if (!loading_)
        return;
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
