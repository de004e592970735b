#pragma once

#include "MailComposeViewController.h"
#include "Opener/TSKAppOpener.h"
#include "ViewController.h"
#include "WebView.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

#include <memory>

class TSKDelegateManager;
class TSKNotification;
class TSKViewController;

// Carries out what a tap on an ad asks for: a page in the in-app browser, a
// full-screen web app, a mail, or another program (which leaves this one).
class TSKOpener : public QObject, public Velmora::Platform::MailComposeDelegate
{
    Q_OBJECT
public:
    explicit TSKOpener(QObject *parent = nullptr);

    // Told when the application is about to be left; shared with the ad.
    const std::shared_ptr<TSKDelegateManager> &delegateManager() const { return delegateManager_; }
    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager) { delegateManager_ = std::move(manager); }
    Velmora::Platform::ViewController *viewController() const { return viewController_; }
    void setViewController(Velmora::Platform::ViewController *controller) { viewController_ = controller; }
    // The page on which the click happened; the browser's first Referer.
    const QUrl &referringURL() const { return referringURL_; }
    void setReferringURL(const QUrl &url) { referringURL_ = url; }

    // How long after a press on the ad's page it may still open something.
    static constexpr double kTapWindowSeconds = 5.0;

    // The page whose messages this opener carries out. With one, nothing
    // that covers the program or leaves it happens unless the user pressed
    // on that page within the tap window; without one (a native button),
    // every action goes ahead.
    void setPressSource(Velmora::Platform::WebView *page) { pressSource_ = page; }

    // Routes an "open" message by its "a", "u", "html" and "o" parameters.
    void openNotification(const TSKNotification &notification);
    void openBrowserToURLSupportedOrientations(const QUrl &url, int orientations);
    void openWebAppSupportedOrientations(const QUrl &url, int orientations);
    void openWebAppWithHTMLSupportedOrientations(const QString &html, int orientations);
    // Leaves for another program, on a tap.
    void openApp(const QUrl &url);
    // Fills the mail composer from a mailto: URL's recipient, cc, bcc,
    // subject and body.
    void openEmailComposer(const QUrl &url);
    void mailComposeControllerDidFinishWithResult(Velmora::Platform::MailComposeViewController *controller, Result result,
                                                  const std::optional<Velmora::Platform::Error> &error) override;

private:
    static int orientationFromCode(const QString &code);
    bool wasTapped(const QString &action, const QUrl &target) const;
    void present(TSKViewController *screen);

    std::shared_ptr<TSKDelegateManager> delegateManager_;
    QPointer<Velmora::Platform::ViewController> viewController_;
    QUrl referringURL_;
    QPointer<Velmora::Platform::WebView> pressSource_;
    TSKAppOpener appOpener_;
};
