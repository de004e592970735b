#include "Opener/TSKOpener.h"

#include "Application.h"
#include "DelayedPerform.h"
#include "Delegate/TSKDelegateManager.h"
#include "Network/TSKClickTracker.h"
#include "Notification/TSKNotification.h"
#include "Statistics/TSKStatistics.h"
#include "ViewController/TSKFullScreen.h"

#include <cstdio>

int TSKOpener::deferredOpens_ = 0;

namespace {

constexpr double kTrackingWaitSeconds = 0.3;
constexpr int kTrackingWaits = 3;

}  // namespace

TSKOpener::TSKOpener(QObject *parent) : QObject(parent)
{
}

int TSKOpener::deferredOpenCount()
{
    return deferredOpens_;
}

void TSKOpener::openNotification(const TSKNotification &notification)
{
    const QVariantMap parameters = notification.parameters().value_or(QVariantMap());
    const QString action = parameters.value(QStringLiteral("a")).toString();
    const QString html = parameters.value(QStringLiteral("html")).toString();
    const QUrl url(parameters.value(QStringLiteral("u")).toString(), QUrl::StrictMode);
    const bool hasURL = url.isValid() && !url.isEmpty();
    if (!hasURL && (html.isNull() || action != QLatin1String("webapp")))
        return;
    const int orientations = orientationFromCode(parameters.value(QStringLiteral("o")).toString());
    const QUrl clickURL = hasURL ? TSKStatistics::sharedStatistics()->urlForClick(url) : QUrl();

    if (action == QLatin1String("browser") || action == QLatin1String("video"))
        openBrowserToURLSupportedOrientations(clickURL, orientations);
    else if (action == QLatin1String("webapp") && hasURL)
        openWebAppSupportedOrientations(clickURL, orientations);
    else if (action == QLatin1String("webapp"))
        openWebAppWithHTMLSupportedOrientations(html, orientations);
    else
        openApp(clickURL);
}

int TSKOpener::orientationFromCode(const QString &code)
{
    if (code == QLatin1String("p"))
        return TSKFullScreen::Portrait;
    if (code == QLatin1String("l"))
        return TSKFullScreen::Landscape;
    return TSKFullScreen::Any;
}

void TSKOpener::openBrowserToURLSupportedOrientations(const QUrl &url, int)
{
    logUnavailable(QStringLiteral("in-app browser"), url.toString());
}

void TSKOpener::openWebAppSupportedOrientations(const QUrl &url, int)
{
    logUnavailable(QStringLiteral("web app screen"), url.toString());
}

void TSKOpener::openWebAppWithHTMLSupportedOrientations(const QString &html, int)
{
    logUnavailable(QStringLiteral("web app screen"), QStringLiteral("%1 characters of HTML").arg(html.size()));
}

void TSKOpener::openEmailComposer(const QUrl &url)
{
    logUnavailable(QStringLiteral("mail composer"), url.toString());
}

void TSKOpener::openApp(const QUrl &url)
{
    if (url.isEmpty())
        return;
    if (TSKClickTracker::activeTrackings() && deferredOpens_++ < kTrackingWaits) {
        performAfterDelay(this, [this, url] { openApp(url); }, kTrackingWaitSeconds);
        return;
    }
    deferredOpens_ = 0;
    if (delegateManager_)
        delegateManager_->willLeaveApplication();
    // After the current event, like every way out of the program.
    performAfterDelay(Application::shared(), [url] { Application::shared()->openURL(url); }, 0);
}

void TSKOpener::logUnavailable(const QString &what, const QString &target) const
{
    std::fprintf(stderr, "<Tiskos> No %s in this build; not opening %s\n", qUtf8Printable(what),
                 qUtf8Printable(target));
}
