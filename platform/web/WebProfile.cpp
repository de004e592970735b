#include "WebProfile.h"

#include "WebContainment.h"

#include <QCoreApplication>
#include <QQuickWebEngineProfile>
#include <QWebEngineDownloadRequest>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>
#include <type_traits>

namespace Velmora::Platform {

namespace {

const char *const kEngineFlagsVariable = "QTWEBENGINE_CHROMIUM_FLAGS";
const char *const kProcessModelSwitches[] = {"--renderer-process-limit", "--process-per-site", "--process-per-tab",
                                             "--single-process", "--site-per-process"};

QList<QByteArray> &registeredSchemes()
{
    static QList<QByteArray> names;
    return names;
}

// The engine reads its schemes and switches once, as the profile is made.
bool profileMade = false;
bool programLeaving = false;

// Pages belong here rather than to their views, so that the pages of views a
// program leaked can go before the engine winds down as the application
// object is destroyed.
struct Engine
{
    QObject *pages;
    QWebEngineProfile *profile;
};

// Navigations to these schemes are decided by the web view's delegate; should
// one ever get as far as a fetch, it fails.
class RefusingSchemeHandler : public QWebEngineUrlSchemeHandler
{
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob *job) override { job->fail(QWebEngineUrlRequestJob::RequestDenied); }
};

// The same for the widgets' profile and the Qt Quick one: nothing kept on
// disk, and the bridge schemes never fetched.
template <typename Profile>
Profile *makeProfile()
{
    auto *profile = new Profile(QCoreApplication::instance());
    // The Qt Quick one has a storage name unless told otherwise.
    if constexpr (std::is_same_v<Profile, QQuickWebEngineProfile>)
        profile->setOffTheRecord(true);
    profile->setHttpCacheType(Profile::MemoryHttpCache);
    profile->setPersistentCookiesPolicy(Profile::NoPersistentCookies);
    profile->setSpellCheckEnabled(false);
    auto *handler = new RefusingSchemeHandler(profile);
    for (const QByteArray &name : registeredSchemes())
        profile->installUrlSchemeHandler(name, handler);
    return profile;
}

// Its settings are its views' (QuickWebView), and a download nobody accepts
// is cancelled by the engine itself.
QQuickWebEngineProfile *makeQuickProfile()
{
    profileMade = true;
    return makeProfile<QQuickWebEngineProfile>();
}

QWebEngineProfile *makeWidgetsProfile()
{
    auto *profile = makeProfile<QWebEngineProfile>();
    WebContainment::closeOffTheDesktop(profile->settings());
    QObject::connect(profile, &QWebEngineProfile::downloadRequested, profile,
                     [](QWebEngineDownloadRequest *download) { download->cancel(); });
    return profile;
}

}  // namespace

void WebProfile::registerSchemes(const QList<QByteArray> &names)
{
    if (profileMade)
        return;
    qputenv(kEngineFlagsVariable, sharedRendererSwitches(qgetenv(kEngineFlagsVariable)));
    for (const QByteArray &name : names) {
        if (isSchemeRegistered(name))
            continue;
        QWebEngineUrlScheme scheme(name);
        // Path syntax keeps the URL exactly as the page wrote it.
        scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
        QWebEngineUrlScheme::registerScheme(scheme);
        registeredSchemes().append(name);
    }
}

QByteArray WebProfile::sharedRendererSwitches(const QByteArray &engineFlags)
{
    for (const QByteArray &flag : engineFlags.split(' ')) {
        for (const char *model : kProcessModelSwitches) {
            if (flag == model || flag.startsWith(QByteArray(model) + '='))
                return engineFlags;
        }
    }
    return (engineFlags + " --renderer-process-limit=1").trimmed();
}

bool WebProfile::isSchemeRegistered(const QByteArray &name)
{
    return registeredSchemes().contains(name);
}

static void deleteLeftoverPages();

static const Engine &engine()
{
    static const Engine made = [] {
        auto *pages = new QObject(QCoreApplication::instance());
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, [] { programLeaving = true; });
        QWebEngineProfile *profile = makeWidgetsProfile();
        // Added after the engine's own, so it runs before it.
        qAddPostRoutine(deleteLeftoverPages);
        return Engine{pages, profile};
    }();
    profileMade = true;
    return made;
}

static void deleteLeftoverPages()
{
    programLeaving = true;
    qDeleteAll(engine().pages->children());
}

QWebEngineProfile *WebProfile::shared()
{
    return engine().profile;
}

QQuickWebEngineProfile *WebProfile::sharedQuick()
{
    static QQuickWebEngineProfile *const profile = makeQuickProfile();
    return profile;
}

QObject *WebProfile::pageOwner()
{
    return engine().pages;
}

bool WebProfile::isProgramLeaving()
{
    return programLeaving || QCoreApplication::closingDown();
}

}  // namespace Velmora::Platform
