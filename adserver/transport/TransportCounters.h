#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// What the transport has done so far, read by the metrics and by tests.
struct TransportCounters
{
    std::atomic<std::size_t> openConnections{0};
    std::atomic<std::uint64_t> bytesSent{0};
    // Socket writes issued (counted before they complete): a reply that fits the socket's buffer takes one.
    std::atomic<std::uint64_t> writes{0};
    // Turned away at accept: over the per-address limit, or at the global cap with no idle connection to close.
    std::atomic<std::uint64_t> refusedConnections{0};
    // Closed to make room for a newcomer or to free memory held for a slow reader.
    std::atomic<std::uint64_t> evictedConnections{0};
};
