#include "WebPage.h"

#include "WebProfile.h"
#include "WebView.h"

#include <QWebEngineFileSystemAccessRequest>
#include <QWebEngineFullScreenRequest>
#include <QWebEngineQuotaRequest>
#include <QWebEngineRegisterProtocolHandlerRequest>
#include <cstdio>

namespace Velmora::Platform {

namespace {

constexpr int kLoggedTextLimit = 200;
// A page can ask again in a loop; its first requests tell the story.
constexpr int kLoggedRefusalLimit = 20;

WebViewDelegate::NavigationType fromEngine(QWebEnginePage::NavigationType type)
{
    switch (type) {
    case QWebEnginePage::NavigationTypeLinkClicked:
        return WebViewDelegate::LinkClicked;
    case QWebEnginePage::NavigationTypeFormSubmitted:
        return WebViewDelegate::FormSubmitted;
    case QWebEnginePage::NavigationTypeBackForward:
        return WebViewDelegate::BackForward;
    case QWebEnginePage::NavigationTypeReload:
        return WebViewDelegate::Reload;
    default:
        return WebViewDelegate::Other;
    }
}

}  // namespace

WebPage::WebPage(WebView *view) : QWebEnginePage(WebProfile::shared(), WebProfile::pageOwner()), view_(view)
{
    refuseRequests();
}

void WebPage::refuseRequests()
{
    connect(this, &QWebEnginePage::featurePermissionRequested, this, [this](const QUrl &origin, Feature feature) {
        setFeaturePermission(origin, feature, PermissionDeniedByUser);
    });
    connect(this, &QWebEnginePage::fullScreenRequested, this,
            [](QWebEngineFullScreenRequest request) { request.reject(); });
    connect(this, &QWebEnginePage::quotaRequested, this, [](QWebEngineQuotaRequest request) { request.reject(); });
    connect(this, &QWebEnginePage::registerProtocolHandlerRequested, this,
            [](QWebEngineRegisterProtocolHandlerRequest request) { request.reject(); });
    connect(this, &QWebEnginePage::fileSystemAccessRequested, this,
            [](QWebEngineFileSystemAccessRequest request) { request.reject(); });
}

bool WebPage::acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame)
{
    return view_->shouldStartLoad(url, fromEngine(type), isMainFrame);
}

QWebEnginePage *WebPage::createWindow(WebWindowType)
{
    logRefusal(QStringLiteral("a new window"), url().toString());
    return nullptr;
}

void WebPage::javaScriptAlert(const QUrl &, const QString &message)
{
    logRefusal(QStringLiteral("an alert"), message);
}

bool WebPage::javaScriptConfirm(const QUrl &, const QString &message)
{
    logRefusal(QStringLiteral("a confirmation"), message);
    return false;
}

bool WebPage::javaScriptPrompt(const QUrl &, const QString &message, const QString &, QString *)
{
    logRefusal(QStringLiteral("a prompt"), message);
    return false;
}

QStringList WebPage::chooseFiles(FileSelectionMode, const QStringList &, const QStringList &)
{
    logRefusal(QStringLiteral("a file"), url().toString());
    return {};
}

// A page may print without end; its console is not the program's.
void WebPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString &, int, const QString &)
{
}

void WebPage::logRefusal(const QString &what, const QString &detail)
{
    if (++refusalsLogged_ > kLoggedRefusalLimit)
        return;
    std::fprintf(stderr, "WebView: refused %s to the page: %s\n", qUtf8Printable(what),
                 qUtf8Printable(detail.left(kLoggedTextLimit)));
}

}  // namespace Velmora::Platform
