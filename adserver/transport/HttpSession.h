#pragma once

#include "transport/HttpLimits.h"
#include "transport/HttpRequest.h"
#include "transport/HttpTransport.h"
#include "transport/Reply.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class ConnectionRegistry;
struct TransportCounters;

// One client connection: reads a request, answers it, and goes on while the
// client keeps the connection alive. The next request is read only once the
// answer before it has been sent, so answers keep their order and a client
// that does not read holds one reply at most; the same holds while a handler
// answers later. A reply goes out as one
// gathered write of header and body (a file in chunks, the first with the header).
class HttpSession : public std::enable_shared_from_this<HttpSession>
{
public:
    HttpSession(boost::asio::ip::tcp::socket &&socket, const boost::asio::ip::address &peer, const HttpLimits &limits,
                const HttpTransport::Handler &handler, TransportCounters &counters, ConnectionRegistry &registry);
    ~HttpSession();

    void start();
    // From any thread: closes the connection on its own thread, at once;
    // false when it is already going.
    bool evict();
    bool isEvicted() const { return evicted_; }
    // Steady-clock nanoseconds: when a read or write last completed, and since
    // when a reply has waited for the client to read it (0 when none waits).
    std::int64_t lastActive() const { return lastActive_; }
    std::int64_t unsentSince() const { return unsentSince_; }

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    void waitForNextRequest();
    void readRequest();
    void onRead(boost::beast::error_code error);
    void refuseBrokenRequest(boost::beast::error_code error);
    std::optional<Reply> protocolRefusal() const;
    // Nothing when the handler answers later.
    std::optional<Reply> handle();
    HttpRequest::Completion answerLater();
    void answer(Reply reply, bool keepAlive);
    bool readFileChunk();
    void writeSome();
    void onWritten(boost::beast::error_code error, std::size_t written);
    void finishReply();
    void markActive();
    void releaseUnsent();
    // Stops sending, reads what the client still sends for a moment, then closes.
    void close();
    void drain(std::size_t drained);

    boost::beast::tcp_stream stream_;
    const boost::asio::ip::address peer_;
    boost::beast::flat_buffer buffer_;
    std::optional<Parser> parser_;
    std::vector<HttpRequest::Header> headers_;
    const HttpRequest::Deferrer deferrer_;
    bool deferred_ = false;
    bool requestKeepAlive_ = false;
    boost::asio::steady_timer delay_;
    const HttpLimits &limits_;
    const HttpTransport::Handler &handler_;
    TransportCounters &counters_;
    ConnectionRegistry &registry_;

    // The reply being sent: its head, and the body or the file chunk after it.
    Reply reply_;
    bool keepAlive_ = false;
    std::string head_;
    std::size_t headSent_ = 0;
    std::string_view body_;
    std::string fileChunk_;
    std::uint64_t fileOffset_ = 0;
    std::size_t held_ = 0;  // of the reply, bytes counted as waiting in the registry

    std::atomic<bool> evicted_{false};
    std::atomic<std::int64_t> lastActive_{0};
    std::atomic<std::int64_t> unsentSince_{0};
};
