#pragma once

#include "ViewController.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

#include <memory>

class TSKDelegateManager;
class TSKNotification;

// Carries out what a tap on an ad asks for: a page in the in-app browser, a
// full-screen web app, a mail, or another program (which leaves this one).
class TSKOpener : public QObject
{
    Q_OBJECT
public:
    explicit TSKOpener(QObject *parent = nullptr);

    // Told when the application is about to be left; shared with the ad.
    const std::shared_ptr<TSKDelegateManager> &delegateManager() const { return delegateManager_; }
    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager) { delegateManager_ = std::move(manager); }
    ViewController *viewController() const { return viewController_; }
    void setViewController(ViewController *controller) { viewController_ = controller; }
    // The page on which the click happened; the browser's first Referer.
    const QUrl &referringURL() const { return referringURL_; }
    void setReferringURL(const QUrl &url) { referringURL_ = url; }

    // Routes an "open" message by its "a", "u", "html" and "o" parameters.
    void openNotification(const TSKNotification &notification);
    void openBrowserToURLSupportedOrientations(const QUrl &url, int orientations);
    void openWebAppSupportedOrientations(const QUrl &url, int orientations);
    void openWebAppWithHTMLSupportedOrientations(const QString &html, int orientations);
    // Leaves for another program, after outstanding click tracking has had
    // up to three 0.3 s waits to finish.
    void openApp(const QUrl &url);
    void openEmailComposer(const QUrl &url);

    // Opens of other programs put off so far; shared by every opener.
    static int deferredOpenCount();

private:
    static int orientationFromCode(const QString &code);
    void logUnavailable(const QString &what, const QString &target) const;

    std::shared_ptr<TSKDelegateManager> delegateManager_;
    QPointer<ViewController> viewController_;
    QUrl referringURL_;
    static int deferredOpens_;
};
