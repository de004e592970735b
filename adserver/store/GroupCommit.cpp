#include "store/GroupCommit.h"

#include "store/RequestLog.h"

#include <cstdio>

namespace {

void addTo(GroupCommit::Counts &to, const GroupCommit::Counts &from)
{
    for (const auto &[key, value] : from)
        to[key] += value;
}

}  // namespace

GroupCommit::GroupCommit(RequestLog &log, CountStore &store, const Counts &stored, std::chrono::milliseconds refreshInterval,
                         BatchObserver observer)
    : log_(log)
    , store_(store)
    , refreshInterval_(refreshInterval)
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
    writeBatch(lock);
}

void GroupCommit::add(const std::vector<Key> &keys)
{
    std::unique_lock lock(mutex_);
    const bool first = !hasWork();
    for (const Key &key : keys)
        ++next_.retained[key];
    if (first) {
        firstAdded_ = std::chrono::steady_clock::now();
        lock.unlock();
        wake_.notify_one();
    }
}

void GroupCommit::addDurably(const Key &key, Done done)
{
    std::unique_lock lock(mutex_);
    const bool first = !hasWork();
    ++next_.acknowledged[key];
    next_.waiting.push_back(std::move(done));
    if (first)
        firstAdded_ = std::chrono::steady_clock::now();
    const bool full = next_.waiting.size() >= batchCounts;
    lock.unlock();
    if (first || full)
        wake_.notify_one();
}

GroupCommit::Counts GroupCommit::counts() const
{
    const std::lock_guard lock(mutex_);
    Counts counts = stored_;
    addTo(counts, inFlight_);
    addTo(counts, next_.retained);
    addTo(counts, next_.acknowledged);
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
        wake_.wait_until(lock, firstAdded_ + window, [this] { return stopping_ || next_.waiting.size() >= batchCounts; });
        writeBatch(lock);
        if (!accepting_)
            wake_.wait_for(lock, retryDelay, [this] { return stopping_; });
    }
}

void GroupCommit::writeBatch(std::unique_lock<std::mutex> &lock)
{
    Batch batch;
    std::swap(batch, next_);
    inFlight_ = batch.retained;
    addTo(inFlight_, batch.acknowledged);
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
    for (const Done &done : batch.waiting)
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
    addTo(next_.retained, batch.retained);
    if (!next_.retained.empty() && next_.waiting.empty())
        firstAdded_ = std::chrono::steady_clock::now();
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
    std::optional<Counts> read = store_.load();
    lock.lock();
    readAt_ = now;
    // Nothing was written meanwhile: only this thread writes, and it was reading.
    if (read)
        stored_ = std::move(*read);
    if (idle)
        reachable(read.has_value());
}
