#include "metrics/ServerMetrics.h"

#include "store/RequestLog.h"
#include "transport/TransportCounters.h"

#include <prometheus/text_serializer.h>

#include <algorithm>

namespace {

using prometheus::BuildCounter;

prometheus::Counter &single(prometheus::Registry &registry, const char *name, const char *help)
{
    return BuildCounter().Name(name).Help(help).Register(registry).Add({});
}

// Batches land in milliseconds when all is well; the long tail is a disk or database in trouble.
const prometheus::Histogram::BucketBoundaries batchBuckets{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5};

}  // namespace

ServerMetrics::ServerMetrics()
    : registry_(std::make_shared<prometheus::Registry>())
    , requests_(BuildCounter().Name("velmora_http_requests_total").Help("HTTP requests answered, by route and status.").Register(*registry_))
    , adRequests_(single(*registry_, "velmora_ad_requests_total", "Ad requests for a served unit."))
    , fills_(single(*registry_, "velmora_ad_fills_total", "Ad requests answered with an ad."))
    , impressions_(single(*registry_, "velmora_impressions_total", "Impression trackers stored (acknowledged)."))
    , clicks_(single(*registry_, "velmora_clicks_total", "Click trackers stored (acknowledged)."))
    , clickThroughs_(single(*registry_, "velmora_click_throughs_total", "Click-throughs stored (acknowledged)."))
    , storeBatchSeconds_(prometheus::BuildHistogram()
                             .Name("velmora_store_batch_seconds")
                             .Help("Time to add one group commit's counts to the store.")
                             .Register(*registry_)
                             .Add({}, batchBuckets))
    , storeBatchFailures_(single(*registry_, "velmora_store_batch_failures_total",
                                 "Group commits the store refused (their trackers got 503; other counts are retried)."))
    , logLinesLost_(single(*registry_, "velmora_request_log_lines_lost_total", "Request log lines that could not be written."))
    , bytesSent_(single(*registry_, "velmora_http_sent_bytes_total", "Bytes written to clients."))
    , connectionsRefused_(single(*registry_, "velmora_http_connections_refused_total",
                                 "Connections closed at accept: over the per-address limit, or no idle one to make room."))
    , connectionsEvicted_(single(*registry_, "velmora_http_connections_evicted_total",
                                 "Connections closed to make room for a newcomer or to free memory held for a slow reader."))
    , openConnections_(prometheus::BuildGauge()
                           .Name("velmora_http_open_connections")
                           .Help("Client connections open now.")
                           .Register(*registry_)
                           .Add({}))
{
}

void ServerMetrics::watch(const TransportCounters *transport, const RequestLog *log)
{
    const std::lock_guard lock(scrapeMutex_);
    transport_ = transport;
    log_ = log;
}

void ServerMetrics::countRequest(Route route, int status)
{
    requestCounter(route, status).Increment();
}

prometheus::Counter &ServerMetrics::requestCounter(Route route, int status)
{
    const int index = std::clamp(status, lowestStatus, lowestStatus + statusCount - 1) - lowestStatus;
    std::atomic<prometheus::Counter *> &slot = requestCounters_[std::size_t(route)][std::size_t(index)];
    if (prometheus::Counter *counter = slot.load(std::memory_order_acquire))
        return *counter;
    // First of its kind: the family's lookup happens once per route and status.
    const std::lock_guard lock(addMutex_);
    prometheus::Counter &counter =
        requests_.Add({{"route", routeName(route)}, {"status", std::to_string(index + lowestStatus)}});
    slot.store(&counter, std::memory_order_release);
    return counter;
}

void ServerMetrics::countAdRequest(bool filled)
{
    adRequests_.Increment();
    if (filled)
        fills_.Increment();
}

void ServerMetrics::observeStoreBatch(double seconds, bool ok)
{
    storeBatchSeconds_.Observe(seconds);
    if (!ok)
        storeBatchFailures_.Increment();
}

std::string ServerMetrics::page()
{
    const std::lock_guard lock(scrapeMutex_);
    if (transport_) {
        catchUp(bytesSent_, double(transport_->bytesSent.load()));
        catchUp(connectionsRefused_, double(transport_->refusedConnections.load()));
        catchUp(connectionsEvicted_, double(transport_->evictedConnections.load()));
        openConnections_.Set(double(transport_->openConnections.load()));
    }
    if (log_)
        catchUp(logLinesLost_, double(log_->linesLost()));
    return prometheus::TextSerializer().Serialize(registry_->Collect());
}

// Brings a counter up to a total kept elsewhere; totals only rise, so it does too.
void ServerMetrics::catchUp(prometheus::Counter &counter, double total)
{
    if (total > counter.Value())
        counter.Increment(total - counter.Value());
}
