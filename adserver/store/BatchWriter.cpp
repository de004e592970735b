#include "store/BatchWriter.h"

#include "store/CountStore.h"
#include "store/RequestLog.h"

BatchWriter::BatchWriter(RequestLog &log, CountStore *store, Observer observer)
    : log_(log)
    , store_(store)
    , observer_(std::move(observer))
    , thread_([this] { run(); })
{
}

BatchWriter::~BatchWriter()
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
    writeBatch();
}

void BatchWriter::run()
{
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, interval, [this] { return stopping_; })) {
        lock.unlock();
        writeBatch();
        lock.lock();
    }
}

void BatchWriter::writeBatch()
{
    const auto began = std::chrono::steady_clock::now();
    const qint64 failedBefore = store_ ? store_->failedCommits() : 0;
    log_.flush();
    if (store_)
        store_->commit();
    if (observer_) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        observer_(took.count(), !store_ || store_->failedCommits() == failedBefore);
    }
}
