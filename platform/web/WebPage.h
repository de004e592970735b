#pragma once

#include <QWebEnginePage>


namespace Velmora::Platform {

class WebView;

// The page behind a WebView, in the shared WebProfile. It asks the view
// about every navigation, and answers the page's requests for dialogs,
// windows, files and permissions itself, with a no, so none reaches the
// desktop.
class WebPage : public QWebEnginePage
{
    Q_OBJECT
public:
    explicit WebPage(WebView *view);

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
    void logRefusal(const QString &what, const QString &detail);

    WebView *view_;
    int refusalsLogged_ = 0;
};

}  // namespace Velmora::Platform
