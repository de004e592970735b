#pragma once

#include <chrono>
#include <cstddef>

// What one client may cost the server. Each is a command-line option.
struct HttpLimits
{
    std::size_t headerBytes = 16 * 1024;  // request line and header block
    std::size_t headerCount = 100;
    std::size_t bodyBytes = 64 * 1024;
    std::size_t queryParameters = 1000;
    std::chrono::milliseconds headerTimeout{10'000};  // from a request's first byte to its end
    std::chrono::milliseconds idleTimeout{30'000};    // between keep-alive requests, and per write
    std::size_t connections = 4096;
    std::size_t connectionsPerAddress = 1024;
    // Replies held for clients that do not read them, all connections together.
    std::size_t unsentBytes = 64 * 1024 * 1024;
    // Requests waiting to be written to the log while it cannot keep up.
    std::size_t logBacklogBytes = 256 * 1024 * 1024;
};
