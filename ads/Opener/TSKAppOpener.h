#pragma once

#include <QObject>
#include <QUrl>

#include <memory>

class TSKDelegateManager;

// Leaves for another program: after outstanding click tracking has had up to
// three 0.3 s waits to finish, and once the ad's delegates have been told.
// Both an ad's own link and the browser's "Open in Browser" leave this way.
class TSKAppOpener : public QObject
{
    Q_OBJECT
public:
    explicit TSKAppOpener(QObject *parent = nullptr);

    void setDelegateManager(std::shared_ptr<TSKDelegateManager> manager) { delegateManager_ = std::move(manager); }
    void openApp(const QUrl &url);

private:
    std::shared_ptr<TSKDelegateManager> delegateManager_;
    // Shared by every opener: a second link tapped while the first waits
    // does not wait three times more.
    static int deferredOpens_;
};
