#include "WebPage.h"

#include "WebContent.h"
#include "WebProfile.h"

#include <QWebEngineFileSystemAccessRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineFullScreenRequest>
#include <QWebEngineQuotaRequest>
#include <QWebEngineRegisterProtocolHandlerRequest>

namespace Velmora::Platform {

WebPage::WebPage(WebContent *content)
    : QWebEnginePage(WebProfile::shared(), WebProfile::pageOwner()), content_(content)
{
    connect(this, &QWebEnginePage::loadingChanged, this,
            [content](const QWebEngineLoadingInfo &info) { content->engineLoadingChanged(info); });
    connect(this, &QWebEnginePage::renderProcessTerminated, this,
            [content](RenderProcessTerminationStatus status, int exitCode) {
                content->engineRendererTerminated(int(status), exitCode);
            });
    refuseRequests();
}

void WebPage::setHTML(const QByteArray &html, const QUrl &baseURL)
{
    setContent(html, QStringLiteral("text/html;charset=UTF-8"), baseURL);
}

void WebPage::trigger(int contentAction)
{
    static constexpr WebAction actions[] = {Back, Forward, Reload, Stop};
    triggerAction(actions[contentAction]);
}

void WebPage::ping(std::function<void(bool)> answered)
{
    runJavaScript(QStringLiteral("0"), [answered = std::move(answered)](const QVariant &answer) {
        answered(answer.isValid());
    });
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
    return content_->shouldStartLoad(url, WebContent::navigationTypeFromEngine(type), isMainFrame);
}

QWebEnginePage *WebPage::createWindow(WebWindowType)
{
    containment_.logRefusal(QStringLiteral("a new window"), url().toString());
    return nullptr;
}

void WebPage::javaScriptAlert(const QUrl &, const QString &message)
{
    containment_.logRefusal(QStringLiteral("an alert"), message);
}

bool WebPage::javaScriptConfirm(const QUrl &, const QString &message)
{
    containment_.logRefusal(QStringLiteral("a confirmation"), message);
    return false;
}

bool WebPage::javaScriptPrompt(const QUrl &, const QString &message, const QString &, QString *)
{
    containment_.logRefusal(QStringLiteral("a prompt"), message);
    return false;
}

QStringList WebPage::chooseFiles(FileSelectionMode, const QStringList &, const QStringList &)
{
    containment_.logRefusal(QStringLiteral("a file"), url().toString());
    return {};
}

// A page may print without end; its console is not the program's.
void WebPage::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString &, int, const QString &)
{
}

}  // namespace Velmora::Platform
