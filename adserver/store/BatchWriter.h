#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class CountStore;
class RequestLog;

// The thread that writes what requests left behind: every interval the
// request log's lines, then the counts, so the counts are never ahead of the
// log and a crash loses at most one interval of either.
class BatchWriter
{
public:
    static constexpr auto interval = std::chrono::milliseconds(100);

    // Told, after each batch, how long it took and whether the counts landed.
    using Observer = std::function<void(double seconds, bool ok)>;

    BatchWriter(RequestLog &log, CountStore *store, Observer observer = {});
    // Writes what is left.
    ~BatchWriter();

private:
    void run();
    void writeBatch();

    RequestLog &log_;
    CountStore *store_;
    Observer observer_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread thread_;
};
