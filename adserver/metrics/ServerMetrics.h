#pragma once

#include "routes/Route.h"

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>

class RequestLog;
struct TransportCounters;

// What a monitoring system scrapes from /metrics, in the Prometheus text
// format. Counting a request costs an atomic add on a counter found by index,
// never a label lookup. Counters start at zero with the process (scrapers take
// restarts in their stride); /stats goes on from the stored counts.
class ServerMetrics
{
public:
    ServerMetrics();

    // Counters kept elsewhere, read at each scrape.
    void watch(const TransportCounters *transport, const RequestLog *log);

    void countRequest(Route route, int status);
    void countAdRequest(bool filled);
    void countImpression() { impressions_.Increment(); }
    void countClick() { clicks_.Increment(); }
    void countClickThrough() { clickThroughs_.Increment(); }
    // After each write of the store's batch: how long it took, and whether it landed.
    void observeStoreBatch(double seconds, bool ok);

    std::string page();

private:
    static constexpr int lowestStatus = 100;
    static constexpr int statusCount = 500;

    prometheus::Counter &requestCounter(Route route, int status);
    void catchUp(prometheus::Counter &counter, double total);

    std::shared_ptr<prometheus::Registry> registry_;
    prometheus::Family<prometheus::Counter> &requests_;
    std::array<std::array<std::atomic<prometheus::Counter *>, statusCount>, routeCount> requestCounters_{};
    std::mutex addMutex_;
    prometheus::Counter &adRequests_;
    prometheus::Counter &fills_;
    prometheus::Counter &impressions_;
    prometheus::Counter &clicks_;
    prometheus::Counter &clickThroughs_;
    prometheus::Histogram &storeBatchSeconds_;
    prometheus::Counter &storeBatchFailures_;
    prometheus::Counter &logLinesLost_;
    prometheus::Counter &bytesSent_;
    prometheus::Counter &connectionsRefused_;
    prometheus::Counter &connectionsEvicted_;
    prometheus::Gauge &openConnections_;

    std::mutex scrapeMutex_;
    const TransportCounters *transport_ = nullptr;
    const RequestLog *log_ = nullptr;
};
