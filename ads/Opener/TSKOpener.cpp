#include "Opener/TSKOpener.h"

#include "Browser/TSKBrowserController.h"
#include "Notification/TSKNotification.h"
#include "Statistics/TSKStatistics.h"
#include "Utility/TSKNetworkUtilities.h"
#include "ViewController/TSKFullScreen.h"
#include "WebApp/TSKWebAppViewController.h"

#include <cstdio>

using namespace Velmora::Platform;

TSKOpener::TSKOpener(QObject *parent) : QObject(parent)
{
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

// The screen presents itself and keeps itself alive until it is dismissed.
void TSKOpener::present(TSKViewController *screen)
{
    screen->setDelegateManager(delegateManager_);
    screen->presentFromViewController(viewController_);
    if (!screen->parentViewController())
        screen->deleteLater();
}

// The phone's sandbox let an ad act only on the user's tap; here the
// library checks for one itself.
bool TSKOpener::wasTapped(const QString &action, const QUrl &target) const
{
    if (!pressSource_ || pressSource_->secondsSinceUserPress() <= kTapWindowSeconds)
        return true;
    std::fprintf(stderr, "<Tiskos> Refused to open %s without a tap on the ad: %s\n", qUtf8Printable(action),
                 qUtf8Printable(target.toString().left(200)));
    return false;
}

void TSKOpener::openBrowserToURLSupportedOrientations(const QUrl &url, int orientations)
{
    if (!wasTapped(QStringLiteral("the browser"), url))
        return;
    auto *browser = new TSKBrowserController;
    browser->setSupportedOrientations(orientations);
    browser->loadReferringURL(url, referringURL_);
    present(browser);
}

void TSKOpener::openWebAppSupportedOrientations(const QUrl &url, int orientations)
{
    if (!wasTapped(QStringLiteral("a web app"), url))
        return;
    auto *webApp = new TSKWebAppViewController;
    webApp->setSupportedOrientations(orientations);
    webApp->load(url);
    present(webApp);
}

void TSKOpener::openWebAppWithHTMLSupportedOrientations(const QString &html, int orientations)
{
    if (!wasTapped(QStringLiteral("a web app"), QUrl(QStringLiteral("about:blank"))))
        return;
    auto *webApp = new TSKWebAppViewController;
    webApp->setSupportedOrientations(orientations);
    webApp->loadHTMLBaseURL(html, QUrl());
    present(webApp);
}

void TSKOpener::openEmailComposer(const QUrl &url)
{
    if (!wasTapped(QStringLiteral("the mail composer"), url))
        return;
    const QString rest = url.toString(QUrl::FullyEncoded).mid(int(qstrlen("mailto:")));
    const qsizetype question = rest.indexOf(QLatin1Char('?'));
    const QString recipient = QUrl::fromPercentEncoding(rest.left(question).toUtf8());
    const QVariantMap fields =
        question < 0 ? QVariantMap() : TSKNetworkUtilities::dictionaryFromQueryString(rest.mid(question + 1));

    auto *composer = new MailComposeViewController;
    composer->setMailComposeDelegate(this);
    composer->setToRecipients({recipient});
    if (fields.contains(QStringLiteral("cc")))
        composer->setCcRecipients(fields.value(QStringLiteral("cc")).toString().split(QLatin1Char(',')));
    if (fields.contains(QStringLiteral("bcc")))
        composer->setBccRecipients(fields.value(QStringLiteral("bcc")).toString().split(QLatin1Char(',')));
    if (fields.contains(QStringLiteral("subject")))
        composer->setSubject(fields.value(QStringLiteral("subject")).toString());
    if (fields.contains(QStringLiteral("body")))
        composer->setMessageBody(fields.value(QStringLiteral("body")).toString(), false);
    composer->setModalTransitionStyle(ViewController::CoverVertical);
    if (!viewController_) {
        delete composer;
        return;
    }
    viewController_->presentModalViewController(composer, true);
    if (!composer->parentViewController())
        delete composer;
}

void TSKOpener::mailComposeControllerDidFinishWithResult(MailComposeViewController *controller, Result,
                                                         const std::optional<Error> &)
{
    controller->dismissModalViewControllerAnimated(true);
    if (viewController_ && viewController_->isViewLoaded())
        viewController_->view()->setFocus();
}

void TSKOpener::openApp(const QUrl &url)
{
    if (url.isEmpty() || !wasTapped(QStringLiteral("another program"), url))
        return;
    appOpener_.setDelegateManager(delegateManager_);
    appOpener_.openApp(url);
}
