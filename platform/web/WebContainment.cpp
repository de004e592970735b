#include "WebContainment.h"

#include <QObject>
#include <QVariant>
#include <QWebEngineSettings>
#include <cstdio>

namespace Velmora::Platform {

namespace {

constexpr int kLoggedTextLimit = 200;

struct Setting
{
    QWebEngineSettings::WebAttribute attribute;
    const char *quickName;
    bool value;
};

using S = QWebEngineSettings;
constexpr Setting kClosedSettings[] = {
    {S::LocalContentCanAccessFileUrls, "localContentCanAccessFileUrls", false},
    {S::LocalContentCanAccessRemoteUrls, "localContentCanAccessRemoteUrls", false},
    {S::JavascriptCanOpenWindows, "javascriptCanOpenWindows", false},
    {S::JavascriptCanAccessClipboard, "javascriptCanAccessClipboard", false},
    {S::JavascriptCanPaste, "javascriptCanPaste", false},
    {S::FullScreenSupportEnabled, "fullScreenSupportEnabled", false},
    {S::PluginsEnabled, "pluginsEnabled", false},
    {S::AllowWindowActivationFromJavaScript, "allowWindowActivationFromJavaScript", false},
    {S::ScreenCaptureEnabled, "screenCaptureEnabled", false},
    {S::NavigateOnDropEnabled, "navigateOnDropEnabled", false},
    {S::ErrorPageEnabled, "errorPageEnabled", false},
    {S::LocalStorageEnabled, "localStorageEnabled", false},
    {S::AutoLoadIconsForPage, "autoLoadIconsForPage", false},
    {S::TouchIconsEnabled, "touchIconsEnabled", false},
    {S::HyperlinkAuditingEnabled, "hyperlinkAuditingEnabled", false},
    {S::AllowGeolocationOnInsecureOrigins, "allowGeolocationOnInsecureOrigins", false},
    {S::AllowRunningInsecureContent, "allowRunningInsecureContent", false},
    {S::WebRTCPublicInterfacesOnly, "webRTCPublicInterfacesOnly", true},
    {S::PlaybackRequiresUserGesture, "playbackRequiresUserGesture", true},
};

}  // namespace

void WebContainment::closeOffTheDesktop(QWebEngineSettings *settings)
{
    for (const Setting &setting : kClosedSettings)
        settings->setAttribute(setting.attribute, setting.value);
}

void WebContainment::closeOffTheDesktop(QObject *quickSettings)
{
    for (const Setting &setting : kClosedSettings) {
        if (!quickSettings->setProperty(setting.quickName, setting.value))
            qFatal("WebContainment: the engine has no setting %s", setting.quickName);
    }
}

void WebContainment::logRefusal(const QString &what, const QString &detail)
{
    if (++refusalsLogged_ > kLoggedRefusalLimit)
        return;
    std::fprintf(stderr, "WebView: refused %s to the page: %s\n", qUtf8Printable(what),
                 qUtf8Printable(detail.left(kLoggedTextLimit)));
}

}  // namespace Velmora::Platform
