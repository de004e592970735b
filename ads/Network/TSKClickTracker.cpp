#include "Network/TSKClickTracker.h"

#include "Network/TSKCachedFile.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Selector.h"
#include "Statistics/TSKStatistics.h"
#include "URLConnection.h"

using namespace Velmora::Platform;

unsigned TSKClickTracker::activeTrackingCount_ = 0;

namespace {

const Selector didRedirect("trackerDidRedirect", {QMetaType::fromType<QObject *>(), QMetaType::fromType<QUrl>()});
const Selector didFail("trackerDidFailWithError",
                       {QMetaType::fromType<QObject *>(), QMetaType::fromType<std::optional<Error>>()});

}  // namespace

TSKClickTracker::TSKClickTracker(QObject *parent) : QObject(parent)
{
}

TSKClickTracker::~TSKClickTracker()
{
    reset();
}

QUrl TSKClickTracker::trackingURL() const
{
    return tracker_ ? tracker_->httpDestinationURL() : QUrl();
}

void TSKClickTracker::trackURL(const QUrl &url)
{
    if (!url.isValid())
        return;
    reset();
    beginBackgroundTask();
    tracker_ = std::make_unique<TSKCachedFile>(static_cast<TSKCachedFileDelegate *>(this), url);
    tracker_->validate();
}

void TSKClickTracker::reset()
{
    hasTracked_ = false;
    if (tracker_) {
        tracker_->setDelegate(nullptr);
        tracker_->invalidate();
        tracker_.reset();
    }
    endBackgroundTask();
}

bool TSKClickTracker::activeTrackings()
{
    return activeTrackingCount_ != 0;
}

void TSKClickTracker::beginBackgroundTask()
{
    ++activeTrackingCount_;
}

// Every end lowers the shared count while it is above zero, including the
// end in reset() after a report: one tracker can thus hide another that is
// still running. Known and accepted; the count never wraps below zero.
void TSKClickTracker::endBackgroundTask()
{
    if (activeTrackingCount_ > 0)
        --activeTrackingCount_;
}

void TSKClickTracker::cachedFileDownloadDidEnd(TSKCachedFile *file)
{
    if (hasTracked_)
        return;
    hasTracked_ = true;
    TSKStatistics::sharedStatistics()->addClickTrackingURL(file->sourceURL());
    QPointer<TSKClickTracker> alive(this);
    didRedirect.performOn(delegate_, {QVariant::fromValue<QObject *>(this), trackingURL()});
    if (alive)
        endBackgroundTask();
}

void TSKClickTracker::cachedFileDownloadDidFail(TSKCachedFile *, const std::optional<Error> &error)
{
    if (hasTracked_)
        return;
    hasTracked_ = true;
    QPointer<TSKClickTracker> alive(this);
    didFail.performOn(delegate_, {QVariant::fromValue<QObject *>(this), QVariant::fromValue(error)});
    if (alive)
        endBackgroundTask();
}

std::optional<Error> TSKClickTracker::cachedFileShouldRedirectToURL(TSKCachedFile *file, const QUrl &url)
{
    if (URLConnection::isWebURL(url))
        return std::nullopt;
    // The tracking is complete; the error only stops the download, and its
    // failure report is ignored because this one came first.
    cachedFileDownloadDidEnd(file);
    return Error{TSKRequestError::Domain, 0, {}};
}
