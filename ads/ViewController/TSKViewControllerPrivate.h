#pragma once

#include <QObject>
#include <memory>

class TSKDelegateManager;

// The state of a full-screen ad screen, kept in the private-object table.
class TSKViewControllerPrivate : public QObject
{
    Q_OBJECT
public:
    TSKViewControllerPrivate() = default;

    // Created empty on first read when none was set.
    const std::shared_ptr<TSKDelegateManager> &delegateManager();
    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager) { delegateManager_ = std::move(manager); }

    int supportedOrientations = 1;
    bool statusBarWasHidden = false;
    // The screen's disappearance is reported as leaving the application.
    bool appClosing = false;
    // Set while the screen passes between the application and itself, so the
    // matching delegate callback goes out once.
    bool interactingWithParent = false;
    // Presented over the application rather than over another ad screen;
    // kept, since the presenter is forgotten once the screen is dismissed.
    bool firstScreen = true;
    // Between the will-present and did-relinquish notifications.
    bool holdsFullScreen = false;

private:
    std::shared_ptr<TSKDelegateManager> delegateManager_;
};
