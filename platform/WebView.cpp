#include "WebView.h"

#include "DelayedPerform.h"
#include "WebPage.h"
#include "WebProfile.h"

#include <QWebEngineHistory>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineProfile>
#include <csignal>
#include <memory>
#include <utility>

namespace {

const QString kErrorDomain = QStringLiteral("WebKitErrorDomain");
constexpr qint64 kTooLargeCode = -1103;

}  // namespace

WebView::WebView(QWidget *parent) : QWebEngineView(parent)
{
    setPage(new WebPage(this));
    connect(page(), &QWebEnginePage::loadingChanged, this, &WebView::onLoadingChanged);
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
    loadStopped_ = false;
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
    endRendererUnlessItAnswers();
}

void WebView::endRendererUnlessItAnswers()
{
    const qint64 pid = page()->renderProcessPid();
    if (pid <= 0)
        return;
    auto answered = std::make_shared<bool>(false);
    page()->runJavaScript(QStringLiteral("0"), [answered](const QVariant &) { *answered = true; });
    performAfterDelay(this, [this, answered, pid] {
        if (!*answered && page()->renderProcessPid() == pid)
            ::kill(pid_t(pid), SIGKILL);
    }, kScriptAnswerSeconds);
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
        loadStopped_ = false;
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
        if (std::exchange(loadStopped_, false)) {
            loading_ = false;
            break;
        }
        Error error = Error::withMessage(kErrorDomain, info.errorCode(), info.errorString());
        error.userInfo.insert(Error::FailingURLKey, info.url());
        failLoad(error);
        break;
    }
    }
}

void WebView::failLoad(const Error &error)
{
    loading_ = false;
    if (delegate_)
        delegate_->webViewDidFailLoadWithError(this, error);
}
