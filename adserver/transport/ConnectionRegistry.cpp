#include "transport/ConnectionRegistry.h"

#include "transport/HttpSession.h"

#include <limits>

ConnectionRegistry::ConnectionRegistry(const HttpLimits &limits, TransportCounters &counters)
    : limits_(limits)
    , counters_(counters)
{
}

bool ConnectionRegistry::admit(const boost::asio::ip::address &address)
{
    const std::lock_guard lock(mutex_);
    std::size_t &fromAddress = perAddress_[address];
    const bool room = fromAddress < limits_.connectionsPerAddress
        && (admitted_ - evicting_ < limits_.connections || evictLowest([](const HttpSession &s) { return s.lastActive(); }));
    if (!room) {
        if (fromAddress == 0)
            perAddress_.erase(address);
        ++counters_.refusedConnections;
        return false;
    }
    ++fromAddress;
    ++admitted_;
    return true;
}

void ConnectionRegistry::enrol(HttpSession *session)
{
    const std::lock_guard lock(mutex_);
    sessions_.insert(session);
}

void ConnectionRegistry::leave(HttpSession *session, const boost::asio::ip::address &address)
{
    const std::lock_guard lock(mutex_);
    sessions_.erase(session);
    --admitted_;
    if (session->isEvicted())
        --evicting_;
    const auto found = perAddress_.find(address);
    if (found != perAddress_.end() && --found->second == 0)
        perAddress_.erase(found);
}

void ConnectionRegistry::holdUnsent(std::size_t bytes)
{
    if ((unsent_ += bytes) <= limits_.unsentBytes)
        return;
    const std::lock_guard lock(mutex_);
    // The reader who has kept its reply waiting longest.
    evictLowest([](const HttpSession &s) { return s.unsentSince() > 0 ? s.unsentSince() : std::numeric_limits<std::int64_t>::max(); });
}

// Closes the session with the lowest score, one not already being closed; the
// caller holds the lock.
template<class Score>
bool ConnectionRegistry::evictLowest(Score score)
{
    HttpSession *victim = nullptr;
    std::int64_t lowest = std::numeric_limits<std::int64_t>::max();
    for (HttpSession *session : sessions_) {
        const std::int64_t value = session->isEvicted() ? lowest : score(*session);
        if (value < lowest) {
            lowest = value;
            victim = session;
        }
    }
    if (!victim || !victim->evict())
        return false;
    ++counters_.evictedConnections;
    // Its slot is free from now on, though its thread has yet to close it.
    ++evicting_;
    return true;
}
