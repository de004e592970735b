#include "WebContent.h"

#include "DelayedPerform.h"
#include "MonotonicClock.h"
#include "RendererWatch.h"

#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineNavigationRequest>
#include <csignal>
#include <limits>
#include <utility>

namespace Velmora::Platform {

namespace {

const QString kErrorDomain = QStringLiteral("WebKitErrorDomain");
constexpr qint64 kTooLargeCode = -1103;
constexpr qint64 kRendererEndedCode = -1105;

}  // namespace

WebContent::~WebContent() = default;

WebViewDelegate::NavigationType WebContent::navigationTypeFromEngine(int engineType)
{
    switch (engineType) {
    case QWebEngineNavigationRequest::LinkClickedNavigation:
        return WebViewDelegate::LinkClicked;
    case QWebEngineNavigationRequest::FormSubmittedNavigation:
        return WebViewDelegate::FormSubmitted;
    case QWebEngineNavigationRequest::BackForwardNavigation:
        return WebViewDelegate::BackForward;
    case QWebEngineNavigationRequest::ReloadNavigation:
        return WebViewDelegate::Reload;
    default:
        return WebViewDelegate::Other;
    }
}

void WebContent::userPressed()
{
    lastUserPress_ = MonotonicClock::seconds();
}

double WebContent::secondsSinceUserPress() const
{
    return lastUserPress_ < 0 ? std::numeric_limits<double>::infinity() : MonotonicClock::seconds() - lastUserPress_;
}

void WebContent::loadRequest(const QNetworkRequest &request)
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
    engineLoad(engineRequest);
}

// The engine drops a Referer handed to it with a load; a page really at the
// referring URL that moves on to the target sends it as a browser would.
// That stepping stone is the content's own business: nobody hears of it.
void WebContent::loadFromReferrer(const QUrl &url, const QUrl &referrer)
{
    const QString target = QString::fromUtf8(url.toEncoded()).toHtmlEscaped();
    const QByteArray stone = QStringLiteral("<meta name='referrer' content='unsafe-url'>"
                                           "<meta http-equiv='refresh' content='0; url=%1'>")
                                .arg(target)
                                .toUtf8();
    referredURL_ = url;
    steppingStone_ = referrer;
    loading_ = true;
    engineSetContent(stone, referrer);
}

void WebContent::loadHTMLString(const QString &html, const QUrl &baseURL)
{
    steppingStone_.clear();
    const QByteArray data = html.toUtf8();
    if (data.size() > kMaximumHTMLStringBytes) {
        // Reported like any failed load, once the caller has returned.
        performAfterDelay(contentObject(), [this, size = data.size()] {
            failLoad(Error::withMessage(kErrorDomain, kTooLargeCode,
                                        QStringLiteral("The page is too large to show (%1 bytes).").arg(size)));
        }, 0);
        return;
    }
    loadStopped_ = false;
    htmlBaseURL_ = baseURL.isValid() ? baseURL : QUrl(QStringLiteral("about:blank"));
    engineSetContent(data, baseURL);
}

void WebContent::stopLoading()
{
    loadStopped_ = true;
    engineTrigger(Action::Stop);
    endRendererIfStuck();
}

void WebContent::endRendererIfStuck()
{
    const qint64 pid = renderProcessPid();
    RendererWatch::shared()->check(this, contentObject(), [this, pid](bool stuck) {
        if (stuck && renderProcessPid() == pid)
            ::kill(pid_t(pid), SIGKILL);
    });
}

QUrl WebContent::requestURL() const
{
    const QUrl current = engineURL();
    if (current.scheme() == QLatin1String("data") && htmlBaseURL_.isValid())
        return htmlBaseURL_;
    return current;
}

bool WebContent::shouldStartLoad(const QUrl &url, WebViewDelegate::NavigationType type, bool isMainFrame)
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

void WebContent::engineLoadingChanged(const QWebEngineLoadingInfo &info)
{
    if (!steppingStone_.isEmpty() && (info.url() == steppingStone_ || info.url().scheme() == QLatin1String("data")))
        return;
    switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
        loading_ = true;
        loadStopped_ = false;
        rendererEndedLoad_ = false;
        showing_ = false;
        if (delegate_)
            delegate_->webViewDidStartLoad(this);
        break;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
        RendererWatch::shared()->signOfLife(renderProcessPid());
        loading_ = false;
        showing_ = true;
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
void WebContent::engineRendererTerminated(int status, int exitCode)
{
    // A renderer ended after a stop was asked for ends nothing more.
    if (loadStopped_)
        return;
    // Pages that share a renderer die with it: one that was shown comes
    // back, in a fresh renderer. One that failed stays down, or a page that
    // kills its renderer would be brought back to do it again.
    if (!loading_) {
        if (!showing_)
            return;
        reviving_ = true;
        engineTrigger(Action::Reload);
        return;
    }
    rendererEndedLoad_ = true;
    failLoad(Error::withMessage(kErrorDomain, kRendererEndedCode,
                                QStringLiteral("The page's renderer ended (status %1, exit code %2).")
                                    .arg(status)
                                    .arg(exitCode)));
}

void WebContent::failLoad(const Error &error)
{
    loading_ = false;
    if (delegate_)
        delegate_->webViewDidFailLoadWithError(this, error);
}

}  // namespace Velmora::Platform
