#pragma once

#include "transport/HttpLimits.h"
#include "transport/HttpTransport.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <atomic>
#include <memory>
#include <optional>

// One client connection: reads a request, answers it, and goes on while the
// client keeps the connection alive. Requests a client sends ahead are read
// from the buffer after the answer before them, so answers keep their order.
class HttpSession : public std::enable_shared_from_this<HttpSession>
{
public:
    HttpSession(boost::asio::ip::tcp::socket &&socket, const HttpLimits &limits, const HttpTransport::Handler &handler,
                std::atomic<std::size_t> &openSessions);
    ~HttpSession();

    void start();

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    void waitForNextRequest();
    void readRequest();
    void onRead(boost::beast::error_code error);
    void refuseBrokenRequest(boost::beast::error_code error);
    std::optional<Reply> protocolRefusal() const;
    void answer(const Reply &reply, bool keepAlive);
    void answerLater(const std::function<void(Reply::Completion)> &start, bool keepAlive);
    template<class Response>
    void send(std::shared_ptr<Response> response, bool keepAlive);
    // Stops sending, reads what the client still sends for a moment, then closes.
    void close();
    void drain(std::size_t drained);

    boost::beast::tcp_stream stream_;
    boost::beast::flat_buffer buffer_;
    std::optional<Parser> parser_;
    boost::asio::steady_timer delay_;
    const HttpLimits &limits_;
    const HttpTransport::Handler &handler_;
    std::atomic<std::size_t> &openSessions_;
};
