#include "store/GroupCommit.h"

#include "store/RecentRequests.h"
#include "store/RequestLog.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace {

void addTo(GroupCommit::Counts &to, const GroupCommit::Counts &from)
{
    for (const auto &[key, value] : from)
        to[key] += value;
}

}  // namespace

GroupCommit::GroupCommit(RequestLog &log, CountStore &store, const Counts &stored, std::chrono::milliseconds refreshInterval,
                         RecentRequests *recent, BatchObserver observer)
    : log_(log)
    , store_(store)
    , refreshInterval_(refreshInterval)
    , recent_(recent)
    , observer_(std::move(observer))
    , stored_(stored)
    , readAt_(std::chrono::steady_clock::now())
    , thread_([this] { run(); })
{
}

GroupCommit::~GroupCommit()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
    std::unique_lock lock(mutex_);
    do
        writeBatch(lock);
    while (!next_.waiting.empty());
}

void GroupCommit::add(const std::vector<Key> &keys)
{
    std::unique_lock lock(mutex_);
    const bool idle = !hasWork();
    if (next_.retained.empty())
        firstAdded_ = std::chrono::steady_clock::now();
    for (const Key &key : keys)
        ++next_.retained[key];
    lock.unlock();
    if (idle)
        wake_.notify_one();
}

void GroupCommit::addDurably(const Key &key, Done done)
{
    std::unique_lock lock(mutex_);
    const bool first = next_.waiting.empty();
    next_.waiting.emplace_back(key, std::move(done));
    lock.unlock();
    // The writer may be idle or waiting out the window; when it is writing it looks again after.
    if (first)
        wake_.notify_one();
}

GroupCommit::Counts GroupCommit::counts() const
{
    const std::lock_guard lock(mutex_);
    Counts counts = stored_;
    addTo(counts, inFlight_);
    addTo(counts, next_.retained);
    for (const auto &[key, done] : next_.waiting)
        ++counts[key];
    return counts;
}

void GroupCommit::run()
{
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (!hasWork()) {
            if (!wake_.wait_for(lock, idleRefresh, [this] { return stopping_ || hasWork(); }))
                refresh(lock, true);
            continue;
        }
        if (next_.waiting.empty())
            wake_.wait_until(lock, firstAdded_ + window, [this] { return stopping_ || !next_.waiting.empty(); });
        writeBatch(lock);
        if (!accepting_)
            wake_.wait_for(lock, retryDelay, [this] { return stopping_; });
    }
}

GroupCommit::Batch GroupCommit::takeBatch()
{
    Batch batch;
    std::swap(batch.retained, next_.retained);
    const auto end = next_.waiting.begin() + std::ptrdiff_t(std::min(next_.waiting.size(), batchCounts));
    batch.waiting.assign(std::make_move_iterator(next_.waiting.begin()), std::make_move_iterator(end));
    next_.waiting.erase(next_.waiting.begin(), end);
    return batch;
}

void GroupCommit::writeBatch(std::unique_lock<std::mutex> &lock)
{
    Batch batch = takeBatch();
    inFlight_ = batch.retained;
    for (const auto &[key, done] : batch.waiting)
        ++inFlight_[key];
    const Counts additions = inFlight_;
    lock.unlock();

    log_.flush();
    const auto started = std::chrono::steady_clock::now();
    const QByteArray complaint = additions.empty() ? QByteArray() : store_.add(additions);
    if (observer_ && !additions.empty())
        observer_(std::chrono::steady_clock::now() - started, complaint.isEmpty());

    lock.lock();
    if (complaint.isEmpty())
        landed(lock);
    else
        failed(batch, complaint);
    lock.unlock();
    for (const auto &[key, done] : batch.waiting)
        done(complaint.isEmpty());
    lock.lock();
}

void GroupCommit::landed(std::unique_lock<std::mutex> &lock)
{
    addTo(stored_, inFlight_);
    inFlight_.clear();
    reachable(true);
    refresh(lock, false);
}

void GroupCommit::failed(Batch &batch, const QByteArray &complaint)
{
    inFlight_.clear();
    if (next_.retained.empty())
        firstAdded_ = std::chrono::steady_clock::now();
    addTo(next_.retained, batch.retained);
    ++failedBatches_;
    if (accepting_)
        std::fprintf(stderr, "velmora-adserver: cannot write the count database: %s; trackers get 503 until it comes back,"
                             " failures are counted in /stats\n", complaint.constData());
    reachable(false);
}

void GroupCommit::reachable(bool reached)
{
    if (reached && !accepting_)
        std::fprintf(stderr, "velmora-adserver: the count database is back\n");
    accepting_ = reached;
}

void GroupCommit::refresh(std::unique_lock<std::mutex> &lock, bool idle)
{
    const auto now = std::chrono::steady_clock::now();
    if (idle)
        log_.flush();
    else if (now - readAt_ < refreshInterval_)
        return;
    lock.unlock();
    if (recent_)
        recent_->sync(store_);
    std::optional<Counts> read = store_.load();
    lock.lock();
    readAt_ = now;
    // Nothing was written meanwhile: only this thread writes, and it was reading.
    if (read)
        stored_ = std::move(*read);
    if (idle)
        reachable(read.has_value());
}
