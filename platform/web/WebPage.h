#pragma once

#include "WebContainment.h"

#include <QWebEnginePage>
#include <functional>


namespace Velmora::Platform {

class WebContent;

// The engine's page behind widget or windowless web content, in the shared
// WebProfile. It asks the content about every navigation, and answers the
// page's requests for dialogs, windows, files and permissions itself, with a
// no, so none reaches the desktop.
class WebPage : public QWebEnginePage
{
    Q_OBJECT
public:
    // Hands the engine's events to `content`.
    explicit WebPage(WebContent *content);

    void setHTML(const QByteArray &html, const QUrl &baseURL);
    // Back, Forward, Reload, Stop: WebContent's actions in their order.
    void trigger(int contentAction);
    // Asks the renderer for a trivial answer; `answered` hears whether one came.
    void ping(std::function<void(bool answered)> answered);

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    QWebEnginePage *createWindow(WebWindowType type) override;
    void javaScriptAlert(const QUrl &securityOrigin, const QString &message) override;
    bool javaScriptConfirm(const QUrl &securityOrigin, const QString &message) override;
    bool javaScriptPrompt(const QUrl &securityOrigin, const QString &message, const QString &defaultValue,
                          QString *result) override;
    QStringList chooseFiles(FileSelectionMode mode, const QStringList &oldFiles,
                            const QStringList &acceptedMimeTypes) override;
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int lineNumber,
                                  const QString &sourceID) override;

private:
    void refuseRequests();

    WebContent *content_;
    WebContainment containment_;
};

}  // namespace Velmora::Platform
