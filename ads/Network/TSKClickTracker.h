#pragma once

#include "Network/TSKCachedFileDelegate.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <memory>

class TSKCachedFile;

// Hits one click or tracking URL, follows its HTTP redirects and stops at the
// first redirect that leaves HTTP (an application link, say), reporting that
// URL so the caller can open it. Reports exactly once per tracking.
//
// The delegate (not owned) may implement either of
//     Q_INVOKABLE void trackerDidRedirect(TSKClickTracker *tracker, const QUrl &url);
//     Q_INVOKABLE void trackerDidFailWithError(TSKClickTracker *tracker, const std::optional<Error> &error);
class TSKClickTracker : public QObject, private TSKCachedFileDelegate
{
    Q_OBJECT
public:
    explicit TSKClickTracker(QObject *parent = nullptr);
    ~TSKClickTracker() override;

    QObject *delegate() const { return delegate_; }
    void setDelegate(QObject *delegate) { delegate_ = delegate; }
    bool hasTracked() const { return hasTracked_; }
    // The last URL requested, after redirects.
    QUrl trackingURL() const;

    // An invalid URL does nothing; otherwise starts afresh.
    void trackURL(const QUrl &url);
    // Stops the tracking without a report and deletes its downloaded file.
    void reset();

    // Whether trackings are still running, so leaving the application now
    // would cut them off. This platform has no background tasks, so trackers
    // share one count.
    static bool activeTrackings();

private:
    void beginBackgroundTask();
    void endBackgroundTask();

    void cachedFileDownloadDidEnd(TSKCachedFile *file) override;
    void cachedFileDownloadDidFail(TSKCachedFile *file, const std::optional<Velmora::Platform::Error> &error) override;
    std::optional<Velmora::Platform::Error> cachedFileShouldRedirectToURL(TSKCachedFile *file, const QUrl &url) override;

    QPointer<QObject> delegate_;
    std::unique_ptr<TSKCachedFile> tracker_;
    bool hasTracked_ = false;

    static unsigned activeTrackingCount_;
};
