#pragma once

#include "transport/HttpLimits.h"
#include "transport/TransportCounters.h"

#include <boost/asio/ip/address.hpp>

#include <atomic>
#include <map>
#include <mutex>
#include <unordered_set>

class HttpSession;

// Every open connection, shared by the I/O threads, so that no one client can
// hold all the server's connections or memory: connections are counted per
// client address, a newcomer at the global cap replaces the longest-idle
// connection, and replies waiting for clients that do not read them are
// capped in total, beyond which the slowest reader is closed.
class ConnectionRegistry
{
public:
    ConnectionRegistry(const HttpLimits &limits, TransportCounters &counters);

    // Whether a connection from `address` may open; counts it when it may.
    bool admit(const boost::asio::ip::address &address);
    void enrol(HttpSession *session);
    // Undoes admit() and enrol().
    void leave(HttpSession *session, const boost::asio::ip::address &address);

    // Reply bytes a connection keeps in memory until the client reads them.
    void holdUnsent(std::size_t bytes);
    void releaseUnsent(std::size_t bytes) { unsent_ -= bytes; }

private:
    template<class Score>
    bool evictLowest(Score score);

    const HttpLimits &limits_;
    TransportCounters &counters_;
    std::atomic<std::size_t> unsent_{0};
    std::mutex mutex_;
    std::size_t admitted_ = 0;
    std::size_t evicting_ = 0;
    std::map<boost::asio::ip::address, std::size_t> perAddress_;
    // A session leaves in its destructor, under the lock: one found here while
    // the lock is held is still whole.
    std::unordered_set<HttpSession *> sessions_;
};
