#include "Application.h"

#include "NotificationCenter.h"
#include "Window.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QScreen>
#include <QWindow>
#include <cstdio>
#include <unistd.h>

namespace Velmora::Platform {

namespace {

constexpr int kMaximumScale = 16;

bool hadVisibleWindow = false;

// Set for the restarted process, so it keeps the scale it was restarted with.
constexpr const char *kFittedVariable = "VELMORA_SCALE_FITTED";

// The scale is the process's device pixel ratio and must be in the
// environment before the QApplication exists, but the desktop's size is only
// known after. So when another scale is needed, start again with it set.
// Without a scale from the user the largest that fits is taken; a requested
// scale (0: none) that does not fit is reduced, with a warning.
void restartFittingTheDesktop(char **argv, int requested)
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QSize pixels = (QSizeF(screen->availableGeometry().size()) * screen->devicePixelRatio()).toSize();
    const int fitting = Window::largestFittingScale(pixels);
    int scale = fitting;
    if (requested > 0) {
        if (requested <= fitting)
            return;
        std::fprintf(stderr, "%s: --scale %d makes a window larger than the desktop (%dx%d), using %d\n",
                     argv[0], requested, pixels.width(), pixels.height(), fitting);
    } else if (fitting <= 1) {
        return;
    }
    qputenv("QT_SCALE_FACTOR", QByteArray::number(scale));
    qputenv(kFittedVariable, "1");
    std::fflush(nullptr);
    execv("/proc/self/exe", argv);
    std::fprintf(stderr, "%s: cannot restart at scale %d\n", argv[0], scale);
}

}  // namespace

// The program's application object may be a QGuiApplication (a Qt Quick
// publisher's); qApp here would claim a QApplication.
Application::Application() : state_(desktopState())
{
    QCoreApplication *program = QCoreApplication::instance();
    program->installEventFilter(this);
    connect(program, &QCoreApplication::aboutToQuit, this, [this] { post(WillTerminateNotification); });
}

Application *Application::shared()
{
    static Application *const application = new Application;
    return application;
}

int Application::main(int argc, char **argv, const DelegateFactory &makeDelegate)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const bool fitted = qEnvironmentVariableIsSet(kFittedVariable);
    qunsetenv(kFittedVariable);
    const std::optional<int> scale = fitted ? std::nullopt : scaleOption(arguments);
    if (scale)
        qputenv("QT_SCALE_FACTOR", QByteArray::number(*scale));
    // A scale the user set in the environment is taken as it is.
    const bool fitScale = !fitted && (scale || !qEnvironmentVariableIsSet("QT_SCALE_FACTOR"));
    // QApplication may take its own options out of argv; a restart needs them all.
    std::vector<char *> originalArgv(argv, argv + argc + 1);

    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);  // web views need it
    QApplication qtApplication(argc, argv);
    if (fitScale)
        restartFittingTheDesktop(originalArgv.data(), scale.value_or(0));

    std::unique_ptr<ApplicationDelegate> delegate = makeDelegate();
    Application *application = shared();
    application->setDelegate(delegate.get());
    application->finishLaunching();
    const int status = qtApplication.exec();
    application->setDelegate(nullptr);
    delegate.reset();
    // Web views let go of inside their own callbacks wait for a later turn of
    // the event loop; there is none, and they must go before their profile.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return status;
}

std::optional<int> Application::scaleOption(const QStringList &arguments)
{
    for (int i = 1; i < arguments.size(); ++i) {
        QString value;
        if (arguments[i] == "--scale" && i + 1 < arguments.size())
            value = arguments[i + 1];
        else if (arguments[i].startsWith("--scale="))
            value = arguments[i].mid(int(qstrlen("--scale=")));
        else if (arguments[i] != "--scale")
            continue;
        bool ok = false;
        const int scale = value.toInt(&ok);
        if (ok && scale >= 1 && scale <= kMaximumScale)
            return scale;
        std::fprintf(stderr, "%s: --scale needs a whole number from 1 to %d, not \"%s\"\n",
                     qPrintable(QFileInfo(arguments[0]).fileName()), kMaximumScale, qPrintable(value));
        return std::nullopt;
    }
    return std::nullopt;
}

void Application::finishLaunching()
{
    if (delegate_)
        delegate_->applicationDidFinishLaunchingWithOptions(this, {});
    post(DidFinishLaunchingNotification);
}

bool Application::openURL(const QUrl &url)
{
    if (!url.isValid())
        return false;
    if (!isOpenable(url)) {
        std::fprintf(stderr, "Application: refused to hand %s to the desktop\n",
                     qUtf8Printable(url.toDisplayString().left(200)));
        return false;
    }
    return urlOpener_ ? urlOpener_(url) : QDesktopServices::openUrl(url);
}

QStringList &Application::openableSchemes()
{
    static QStringList schemes{QStringLiteral("http"), QStringLiteral("https"), QStringLiteral("mailto")};
    return schemes;
}

void Application::allowApplicationLinkSchemes(const QStringList &schemes)
{
    for (const QString &scheme : schemes) {
        if (!openableSchemes().contains(scheme.toLower()))
            openableSchemes().append(scheme.toLower());
    }
}

bool Application::isOpenable(const QUrl &url)
{
    return openableSchemes().contains(url.scheme().toLower());
}

Window *Application::keyWindow() const
{
    return keyWindow_;
}

void Application::setKeyWindow(Window *window)
{
    keyWindow_ = window;
    if (window)
        window->setStatusBarShown(!statusBarHidden_);
}

void Application::setStatusBarHidden(bool hidden, bool animated)
{
    Q_UNUSED(animated)  // the bar simply appears or goes
    statusBarHidden_ = hidden;
    if (keyWindow_)
        keyWindow_->setStatusBarShown(!hidden);
}

Application::State Application::desktopState()
{
    for (const QWindow *window : QGuiApplication::topLevelWindows()) {
        const QWindow::Visibility visibility = window->visibility();
        if (visibility != QWindow::Hidden && visibility != QWindow::Minimized) {
            hadVisibleWindow = true;
            return Active;
        }
    }
    return hadVisibleWindow ? Background : Inactive;
}

bool Application::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::WindowStateChange:
    case QEvent::Expose:
        if (watched->isWindowType())
            scheduleStateUpdate();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

// Windows change in bursts (a hide and a show for one screen change, say);
// the state is read once they have settled.
void Application::scheduleStateUpdate()
{
    if (std::exchange(stateUpdateScheduled_, true))
        return;
    QMetaObject::invokeMethod(this, [this] {
        stateUpdateScheduled_ = false;
        updateState(desktopState());
    }, Qt::QueuedConnection);
}

void Application::updateState(State target)
{
    while (state_ != target)
        stepTowards(target);
}

void Application::stepTowards(State target)
{
    // One level at a time, so that e.g. active -> background passes through
    // inactive and posts both notifications, each while the state it
    // describes is (or is still) current.
    switch (state_) {
    case Active:
        post(WillResignActiveNotification);
        state_ = Inactive;
        break;
    case Inactive:
        state_ = target;
        post(target == Active ? DidBecomeActiveNotification : DidEnterBackgroundNotification);
        break;
    case Background:
        post(WillEnterForegroundNotification);
        state_ = Inactive;
        break;
    }
}

void Application::post(const QString &name)
{
    NotificationCenter::defaultCenter()->postNotificationName(name, this);
}

}  // namespace Velmora::Platform
