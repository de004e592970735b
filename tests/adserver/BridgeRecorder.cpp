#include "BridgeRecorder.h"

#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

namespace {

// Without a registered scheme and a handler the engine drops tsmsg: and
// mailto: navigations before asking the page; with them,
// acceptNavigationRequest sees and refuses them, so the handler never serves.
class RefusingSchemeHandler : public QWebEngineUrlSchemeHandler
{
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob *job) override { job->fail(QWebEngineUrlRequestJob::RequestDenied); }
};

}  // namespace

BridgeRecorder::BridgeRecorder(QObject *parent)
    : QWebEnginePage(parent)
{
    // Hidden pages get their timers throttled to once a second; a tap's messages leave 40 ms apart.
    connect(this, &QWebEnginePage::loadStarted, this, [this] { setVisible(true); });
    QWebEngineProfile *profile = QWebEngineProfile::defaultProfile();
    for (const QByteArray scheme : {"tsmsg", "mailto"}) {
        if (!profile->urlSchemeHandler(scheme))
            profile->installUrlSchemeHandler(scheme, new RefusingSchemeHandler(profile));
    }
}

void BridgeRecorder::registerSchemes()
{
    for (const QByteArray name : {"tsmsg", "mailto"}) {
        QWebEngineUrlScheme scheme(name);
        scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
        QWebEngineUrlScheme::registerScheme(scheme);
    }
}

QList<BridgeRecorder::Message> BridgeRecorder::messages() const
{
    QList<Message> found;
    for (const QUrl &url : intercepted) {
        if (url.scheme() == QLatin1String("tsmsg"))
            found.append({url.path().mid(1), QUrlQuery(url.query(QUrl::FullyEncoded))});
    }
    return found;
}

QList<BridgeRecorder::Message> BridgeRecorder::messagesNamed(const QString &name) const
{
    QList<Message> found;
    for (const Message &message : messages()) {
        if (message.name == name)
            found.append(message);
    }
    return found;
}

bool BridgeRecorder::acceptNavigationRequest(const QUrl &url, NavigationType, bool)
{
    if (url.scheme() == QLatin1String("tsmsg") || url.scheme() == QLatin1String("mailto")) {
        intercepted.append(url);
        return false;
    }
    return true;
}

void BridgeRecorder::javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int,
                                              const QString &)
{
    if (level == ErrorMessageLevel)
        consoleErrors.append(message);
}
