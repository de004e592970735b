#include "store/BatchWriter.h"

#include "store/CountStore.h"
#include "store/RequestLog.h"

BatchWriter::BatchWriter(RequestLog &log, CountStore *store)
    : log_(log)
    , store_(store)
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
    log_.flush();
    if (store_)
        store_->commit();
}
