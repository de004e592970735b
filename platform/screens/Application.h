#pragma once

#include "ApplicationDelegate.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

Q_MOC_INCLUDE("Window.h")

namespace Velmora::Platform {

class Window;

// The running program as the phone platform sees it: its activity state and
// the notifications that announce changes of it, its delegate, the key
// window, the status bar and opening URLs in other programs.
//
// Notifications are posted on NotificationCenter::defaultCenter() with the
// application as object:
//   DidFinishLaunching  after the delegate's launch method returns
//   WillResignActive    active -> inactive (on the way to the background)
//   DidEnterBackground  -> background (all windows hidden or minimised)
//   WillEnterForeground background -> inactive or active
//   DidBecomeActive     -> active
//   WillTerminate       the event loop is about to quit
// The state is read the desktop way: a visible window is watched by its user
// whether or not it has the focus, so the application is active while any of
// its windows is shown and not minimised, in the background once it has had
// a window and none is, and inactive only while launching.
// Background tasks do not exist here.
//
// The accessors other code may probe for ("does the application answer
// applicationState?") are invokable, so the meta-object answers yes.
class Application : public QObject
{
    Q_OBJECT
public:
    enum State { Active = 0, Inactive = 1, Background = 2 };
    Q_ENUM(State)

    static inline const QString DidFinishLaunchingNotification =
        QStringLiteral("ApplicationDidFinishLaunchingNotification");
    static inline const QString WillResignActiveNotification =
        QStringLiteral("ApplicationWillResignActiveNotification");
    static inline const QString DidBecomeActiveNotification =
        QStringLiteral("ApplicationDidBecomeActiveNotification");
    static inline const QString DidEnterBackgroundNotification =
        QStringLiteral("ApplicationDidEnterBackgroundNotification");
    static inline const QString WillEnterForegroundNotification =
        QStringLiteral("ApplicationWillEnterForegroundNotification");
    static inline const QString WillTerminateNotification =
        QStringLiteral("ApplicationWillTerminateNotification");

    using UrlOpener = std::function<bool(const QUrl &)>;
    using DelegateFactory = std::function<std::unique_ptr<ApplicationDelegate>()>;

    // The one application object, created on first use (after the
    // QApplication) and never destroyed.
    static Application *shared();

    // The program's entry point: applies --scale N (default, and at most:
    // the largest whole scale that fits the desktop), creates the QApplication and the
    // delegate, finishes launching and runs the event loop. Other arguments
    // are left in QCoreApplication::arguments() for the program.
    static int main(int argc, char **argv, const DelegateFactory &makeDelegate);

    // The value of "--scale N" or "--scale=N"; empty when absent. Prints an
    // error and answers empty for a value that is not a whole number from 1 to 16.
    static std::optional<int> scaleOption(const QStringList &arguments);

    Q_INVOKABLE State applicationState() const { return state_; }

    ApplicationDelegate *delegate() const { return delegate_; }
    // Not owned.
    void setDelegate(ApplicationDelegate *delegate) { delegate_ = delegate; }

    // Tells the delegate, then posts did-finish-launching.
    void finishLaunching();

    // Hands the URL to the desktop (QDesktopServices) or the installed opener
    // when its scheme is http, https, mailto or one of the program's own
    // application links; any other URL is refused and logged.
    Q_INVOKABLE bool openURL(const QUrl &url);
    // The application-link schemes the program registers (its own, say);
    // callable before the application object exists.
    static void allowApplicationLinkSchemes(const QStringList &schemes);
    static bool isOpenable(const QUrl &url);
    // Replaces how URLs are opened; an empty function restores the desktop's.
    void setUrlOpener(UrlOpener opener) { urlOpener_ = std::move(opener); }

    Q_INVOKABLE Window *keyWindow() const;
    void setKeyWindow(Window *window);

    bool isStatusBarHidden() const { return statusBarHidden_; }
    void setStatusBarHidden(bool hidden, bool animated = false);
    // Screens here are always upright (portrait = 1).
    Q_INVOKABLE int statusBarOrientation() const { return 1; }

    // Moves to the state, posting the notifications of each step passed.
    // Fed from the windows' visibility; public so that tests can drive it.
    void updateState(State target);
    // What the windows say the state is now.
    static State desktopState();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Application();

    static QStringList &openableSchemes();
    void stepTowards(State target);
    void scheduleStateUpdate();
    void post(const QString &name);

    State state_;
    ApplicationDelegate *delegate_ = nullptr;
    UrlOpener urlOpener_;
    QPointer<Window> keyWindow_;
    bool statusBarHidden_ = false;
    bool stateUpdateScheduled_ = false;
};

}  // namespace Velmora::Platform
