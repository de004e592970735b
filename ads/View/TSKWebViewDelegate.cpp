#include "View/TSKWebViewDelegate.h"

#include "Application.h"
#include "Network/TSKClickTracker.h"
#include "Notification/TSKNotification.h"
#include "Notification/TSKNotificationCenter.h"
#include "Opener/TSKOpener.h"
#include "Request/TSKDeviceSignals.h"
#include "Selector.h"
#include "URLConnection.h"
#include "Utility/TSKNetworkUtilities.h"
#include "ViewController.h"
#include "WebProfile.h"
#include "WebContent.h"

#include <QApplication>
#include <cstdio>

using namespace Velmora::Platform;

namespace {

const QList<QByteArray> kPageSchemes = {"tsmsg", "tiskos", "mailto", "tel"};
const Selector kRelinquishScreen("relinquishScreen", {});

QString textOrNull(const QVariant &value)
{
    return value.isValid() ? value.toString() : QStringLiteral("(null)");
}

// Runs as the application object is made, before any page exists, so that a
// program need not register the bridge itself.
void registerBridgeAtStartUp()
{
    TSKWebViewDelegate::registerSchemes();
}

}  // namespace

Q_COREAPP_STARTUP_FUNCTION(registerBridgeAtStartUp)

void TSKWebViewDelegate::registerSchemes(const QStringList &applicationLinkSchemes)
{
    QList<QByteArray> names = kPageSchemes;
    for (const QString &scheme : applicationLinkSchemes)
        names.append(scheme.toLower().toLatin1());
    WebProfile::registerSchemes(names);
}

bool TSKWebViewDelegate::areSchemesRegistered()
{
    return WebProfile::isSchemeRegistered("tsmsg") && WebProfile::isSchemeRegistered("tiskos");
}

void TSKWebViewDelegate::notifyWebViewOfOrientationChange(WebContent *webView, int orientation)
{
    static const int angles[] = {0, 180, 90, -90};
    if (!webView || orientation < ViewController::Portrait || orientation > ViewController::LandscapeLeft)
        return;
    webView->evaluateJavaScript(QStringLiteral("window.__defineGetter__('orientation',function(){return %1;});"
                                               "window.onorientationchange();")
                                    .arg(angles[orientation - 1]));
}

int TSKWebViewDelegate::intForKeyFromDictionary(const QString &key, const QVariantMap &dictionary)
{
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? -1 : found->toInt();
}

TSKWebViewDelegate::TSKWebViewDelegate(QObject *parent) : QObject(parent), opener_(std::make_unique<TSKOpener>())
{
}

void TSKWebViewDelegate::setScreen(QObject *screen, TSKScreenPresenter *presenter)
{
    screen_ = screen;
    opener_->setPresenter(presenter);
}

TSKWebViewDelegate::~TSKWebViewDelegate()
{
    if (tracker_)
        tracker_->reset();
}

bool TSKWebViewDelegate::webViewShouldStartLoad(WebContent *webView, const QNetworkRequest &request, NavigationType type)
{
    const QUrl url = request.url();
    const QString scheme = url.scheme().toLower();
    if (request.hasRawHeader("User-Agent"))
        TSKNetworkUtilities::setUserAgentString(QString::fromUtf8(request.rawHeader("User-Agent")));
    opener_->setViewController(viewController_);
    opener_->setPressSource(webView);

    if (scheme == QLatin1String("file"))
        return false;
    if (scheme == QLatin1String("about"))
        return true;
    if (!TSKNotification::isNotificationURL(url))
        return decideOrdinaryURL(webView, url, type);
    if (isOversizedMessage(url)) {
        std::fprintf(stderr, "<Tiskos> Dropped a page message of %lld bytes\n",
                     static_cast<long long>(url.toEncoded().size()));
        return false;
    }
    if (const std::optional<TSKNotification> message = TSKNotification::notificationFromURL(url)) {
        postWebAction(webView, url, message->name());
        performBridgeMessage(webView, *message, url);
    }
    return false;
}

bool TSKWebViewDelegate::isOversizedMessage(const QUrl &url)
{
    const QByteArray encoded = url.toEncoded();
    return encoded.size() > kMaximumMessageBytes
        || encoded.count('&') + encoded.count(';') >= kMaximumMessageParameters;
}

void TSKWebViewDelegate::performBridgeMessage(WebContent *webView, const TSKNotification &message, const QUrl &url)
{
    const QString name = message.name();
    const QVariantMap parameters = message.parameters().value_or(QVariantMap());
    if (name == QLatin1String("click"))
        trackURLStringAppendSpamSignals(parameters.value(QStringLiteral("u")).toString(), true);
    else if (name == QLatin1String("close"))
        closeScreen();
    else if (name == QLatin1String("httpTrack"))
        trackURLStringAppendSpamSignals(parameters.value(QStringLiteral("u")).toString(), false);
    else if (name == QLatin1String("log"))
        std::fprintf(stderr, "%s\n", qUtf8Printable(textOrNull(parameters.value(QStringLiteral("string")))));
    else if (name == QLatin1String("open"))
        opener_->openNotification(message);
    else if (name == QLatin1String("touch"))
        processTouchSignals(parameters);
    else if (name == QLatin1String("vibrate"))
        QApplication::beep();
    else
        TSKNotificationCenter::defaultCenter()->postNotificationFromURLObjectWithDelay(url, webView->contentObject(), 0);
}

void TSKWebViewDelegate::closeScreen()
{
    QObject *screen = screen_ ? screen_.data() : viewController_.data();
    if (screen && kRelinquishScreen.isImplementedBy(screen))
        kRelinquishScreen.performOn(screen, {});
}

bool TSKWebViewDelegate::decideOrdinaryURL(WebContent *webView, const QUrl &url, NavigationType type)
{
    // The page's own first load, or a script's load of a bare host, is no action.
    if (!(type == Other && url.path().size() < 2))
        postWebAction(webView, url, QString());
    if (URLConnection::isWebURL(url))
        return true;
    if (url.scheme().compare(QLatin1String("mailto"), Qt::CaseInsensitive) == 0)
        opener_->openEmailComposer(url);
    else
        opener_->openApp(url);
    return false;
}

void TSKWebViewDelegate::postWebAction(WebContent *webView, const QUrl &url, const QString &action)
{
    QVariantMap userInfo{{TSKWebViewNotification::URLKey, url.toString(QUrl::FullyEncoded)}};
    if (!action.isNull())
        userInfo.insert(TSKWebViewNotification::ActionKey, action);
    TSKNotificationCenter::defaultCenter()->postNotificationName(TSKWebViewNotification::DidReceiveWebAction, webView->contentObject(), userInfo);
}

void TSKWebViewDelegate::webViewDidFinishLoad(WebContent *webView)
{
    notifyWebViewOfOrientationChange(webView, Application::shared()->statusBarOrientation());
}

void TSKWebViewDelegate::trackURLStringAppendSpamSignals(const QString &urlString, bool appendSpamSignals)
{
    if (!tracker_)
        tracker_ = std::make_unique<TSKClickTracker>();
    QUrl url(urlString);
    if (appendSpamSignals) {
        const QString clickIdentifier = TSKNetworkUtilities::parameterValueForKeyFromURL(QStringLiteral("ai"), url);
        QString signal;
        if (!clickIdentifier.isNull() && TSKDeviceSignals::clickSignal(clickIdentifier, signal))
            url = TSKNetworkUtilities::appendQueryKeyValueToURL(signal, QVariant(), url);
    }
    tracker_->trackURL(url);
}

void TSKWebViewDelegate::processTouchSignals(const QVariantMap &parameters)
{
    TSKDeviceSignals::touchSignals(intForKeyFromDictionary(QStringLiteral("tx"), parameters),
                                   intForKeyFromDictionary(QStringLiteral("ty"), parameters),
                                   intForKeyFromDictionary(QStringLiteral("td"), parameters));
}
