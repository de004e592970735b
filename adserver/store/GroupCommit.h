#pragma once

#include "store/CountStore.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

class RecentRequests;
class RequestLog;

// The thread that writes what requests leave behind, in batches: the request
// log's lines first, then the counts in one transaction, so the log is never
// behind the counts. A count somebody waits for starts a batch at once when
// the writer is idle; whatever arrives while a batch is written goes in the
// next, which starts as soon as that one lands, so a lone request waits for
// one write and a busy server's batches grow instead of its waits. Counts
// nobody waits for go at most `window` after the first of them. The waiting
// are answered when their batch lands, at most `batchCounts` of them a batch.
// A count nobody waits for is kept for the next batch when one fails; a count
// somebody waits for is dropped with a "not stored" answer instead.
class GroupCommit
{
public:
    using Key = CountStore::Key;
    using Counts = CountStore::Counts;
    using Done = std::function<void(bool stored)>;
    using BatchObserver = std::function<void(std::chrono::duration<double> latency, bool ok)>;

    static constexpr auto window = std::chrono::milliseconds(2);
    static constexpr std::size_t batchCounts = 512;
    // How soon a failed batch is tried again.
    static constexpr auto retryDelay = std::chrono::milliseconds(100);
    // How often an idle server writes its log and rereads the counts.
    static constexpr auto idleRefresh = std::chrono::milliseconds(200);

    // The counts are reread from the store at most every `refreshInterval`
    // (other servers add to it too) and after every idle wait; `recent`, when
    // given, is stored and reread then too.
    GroupCommit(RequestLog &log, CountStore &store, const Counts &stored, std::chrono::milliseconds refreshInterval,
                RecentRequests *recent = nullptr, BatchObserver observer = {});
    // Writes what is left and answers whoever waits.
    ~GroupCommit();
    GroupCommit(const GroupCommit &) = delete;
    GroupCommit &operator=(const GroupCommit &) = delete;

    void add(const std::vector<Key> &keys);
    // `done` is called from the writer's thread once the batch has landed or failed.
    void addDurably(const Key &key, Done done);
    // The stored counts as last read plus everything added here since.
    Counts counts() const;
    // Whether the last write or read reached the store.
    bool accepting() const { return accepting_; }
    qint64 failedBatches() const { return failedBatches_; }

private:
    struct Batch
    {
        Counts retained;  // kept if the batch fails
        std::deque<std::pair<Key, Done>> waiting;
    };

    void run();
    Batch takeBatch();
    void writeBatch(std::unique_lock<std::mutex> &lock);
    void landed(std::unique_lock<std::mutex> &lock);
    void failed(Batch &batch, const QByteArray &complaint);
    void reachable(bool reached);
    void refresh(std::unique_lock<std::mutex> &lock, bool idle);
    bool hasWork() const { return !next_.retained.empty() || !next_.waiting.empty(); }

    RequestLog &log_;
    CountStore &store_;
    const std::chrono::milliseconds refreshInterval_;
    RecentRequests *const recent_;
    const BatchObserver observer_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    Batch next_;
    Counts inFlight_;
    Counts stored_;
    std::chrono::steady_clock::time_point firstAdded_;
    std::chrono::steady_clock::time_point readAt_;
    bool stopping_ = false;
    std::atomic<bool> accepting_{true};
    std::atomic<qint64> failedBatches_{0};
    std::thread thread_;
};
