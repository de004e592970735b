#include "transport/HttpSession.h"

#include "transport/OpenFile.h"

#include <boost/asio/post.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/file_body.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include <unistd.h>

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;

namespace {

// What is still read from a client after the last answer, so that the kernel
// does not reset the connection before the client has read that answer.
constexpr auto drainTime = std::chrono::seconds(1);
constexpr std::size_t drainBytes = 1 << 20;

beast::string_view view(const QByteArray &bytes)
{
    return {bytes.constData(), std::size_t(bytes.size())};
}

QByteArray bytes(beast::string_view text)
{
    return QByteArray(text.data(), qsizetype(text.size()));
}

template<class Response>
void addHeaders(Response &response, const Reply &reply, bool keepAlive)
{
    response.version(11);
    response.result(unsigned(reply.status));
    for (const auto &[name, value] : reply.headers)
        response.insert(view(name), view(value));
    response.keep_alive(keepAlive);
}

}  // namespace

HttpSession::HttpSession(net::ip::tcp::socket &&socket, const HttpLimits &limits, const HttpTransport::Handler &handler,
                         std::atomic<std::size_t> &openSessions)
    : stream_(std::move(socket))
    , buffer_(limits.headerBytes + 64 * 1024)
    , delay_(stream_.get_executor())
    , limits_(limits)
    , handler_(handler)
    , openSessions_(openSessions)
{
    ++openSessions_;
}

HttpSession::~HttpSession()
{
    --openSessions_;
}

void HttpSession::start()
{
    readRequest();
}

void HttpSession::waitForNextRequest()
{
    if (buffer_.size() > 0)
        return readRequest();
    // Idle between requests: the header timeout starts with the next byte.
    stream_.expires_after(limits_.idleTimeout);
    stream_.async_read_some(buffer_.prepare(4096), [self = shared_from_this()](beast::error_code error, std::size_t n) {
        if (error)
            return self->stream_.close();
        self->buffer_.commit(n);
        self->readRequest();
    });
}

void HttpSession::readRequest()
{
    parser_.emplace();
    parser_->header_limit(std::uint32_t(limits_.headerBytes));
    parser_->body_limit(std::uint64_t(limits_.bodyBytes));
    stream_.expires_after(limits_.headerTimeout);
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](beast::error_code error, std::size_t) { self->onRead(error); });
}

void HttpSession::onRead(beast::error_code error)
{
    if (error == http::error::end_of_stream || error == http::error::partial_message)
        return stream_.close();
    if (error && error.category() == http::make_error_code(http::error::end_of_stream).category())
        return refuseBrokenRequest(error);
    if (error)  // timeouts and resets
        return close();
    if (auto refusal = protocolRefusal())
        return answer(*refusal, false);

    const auto &message = parser_->get();
    QList<QPair<QByteArray, QByteArray>> headers;
    for (const auto &field : message)
        headers.append({bytes(field.name_string()), bytes(field.value())});
    const HttpRequest request(bytes(message.method_string()), bytes(message.target()), std::move(headers));
    const Reply reply = handler_(request);
    const bool keepAlive = message.version() == 11 && message.keep_alive();
    if (reply.deferred)
        return answerLater(reply.deferred, keepAlive);
    answer(reply, keepAlive);
}

void HttpSession::refuseBrokenRequest(beast::error_code error)
{
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        // The parser takes the request line (and so its target) before the fields.
        if (parser_->get().target().empty())
            return answer(Reply::text(414, "request line too long"), false);
        return answer(Reply::text(431, "header block too large"), false);
    }
    if (error == http::error::body_limit)
        return answer(Reply::text(413, "body too large"), false);
    if (error == http::error::bad_version)
        return answer(Reply::text(505, "only HTTP/1.0 and HTTP/1.1 are spoken"), false);
    answer(Reply::text(400, "malformed request: " + QByteArray::fromStdString(error.message())), false);
}

std::optional<Reply> HttpSession::protocolRefusal() const
{
    const auto &message = parser_->get();
    if (message.version() != 10 && message.version() != 11)
        return Reply::text(505, "only HTTP/1.0 and HTTP/1.1 are spoken");
    if (std::size_t(std::distance(message.begin(), message.end())) > limits_.headerCount)
        return Reply::text(431, "too many header fields");
    const std::size_t hosts = message.count(http::field::host);
    if (hosts > 1 || (hosts == 0 && message.version() == 11))
        return Reply::text(400, "an HTTP/1.1 request needs exactly one Host header");
    if (std::size_t(HttpRequest::parameterCount(bytes(message.target()))) > limits_.queryParameters)
        return Reply::text(400, "too many query parameters");
    return std::nullopt;
}

void HttpSession::answer(const Reply &reply, bool keepAlive)
{
    if (reply.delayMs > 0) {
        delay_.expires_after(std::chrono::milliseconds(reply.delayMs));
        delay_.async_wait([self = shared_from_this(), delayed = reply, keepAlive](beast::error_code error) mutable {
            if (error)
                return self->close();
            delayed.delayMs = 0;
            self->answer(delayed, keepAlive);
        });
        return;
    }
    if (reply.file) {
        auto response = std::make_shared<http::response<http::file_body>>();
        addHeaders(*response, reply, keepAlive);
        beast::file_posix file;
        file.native_handle(::dup(reply.file->descriptor()));
        beast::error_code error;
        response->body().reset(std::move(file), error);
        if (error)
            return answer(Reply::text(500, "cannot read the file"), false);
        response->prepare_payload();
        return send(response, keepAlive);
    }
    auto response = std::make_shared<http::response<http::string_body>>();
    addHeaders(*response, reply, keepAlive && !reply.truncated);
    response->body().assign(reply.body.constData(), std::size_t(reply.truncated ? reply.body.size() / 2 : reply.body.size()));
    response->prepare_payload();
    if (reply.truncated)  // announce it all, send half, hang up
        response->content_length(std::uint64_t(reply.body.size()));
    send(response, keepAlive && !reply.truncated);
}

void HttpSession::answerLater(const std::function<void(Reply::Completion)> &start, bool keepAlive)
{
    // No read is pending meanwhile, so no timeout runs and answers keep their order.
    start([self = shared_from_this(), keepAlive](Reply reply) {
        net::post(self->stream_.get_executor(), [self, reply = std::move(reply), keepAlive] { self->answer(reply, keepAlive); });
    });
}

template<class Response>
void HttpSession::send(std::shared_ptr<Response> response, bool keepAlive)
{
    stream_.expires_after(limits_.idleTimeout);
    http::async_write(stream_, *response, [self = shared_from_this(), response, keepAlive](beast::error_code error, std::size_t) {
        if (error)
            return self->stream_.close();
        if (!keepAlive)
            return self->close();
        self->waitForNextRequest();
    });
}

void HttpSession::close()
{
    beast::error_code ignored;
    stream_.socket().shutdown(net::ip::tcp::socket::shutdown_send, ignored);
    stream_.expires_after(drainTime);
    buffer_.clear();
    drain(0);
}

void HttpSession::drain(std::size_t drained)
{
    if (drained > drainBytes)
        return stream_.close();
    stream_.async_read_some(buffer_.prepare(4096), [self = shared_from_this(), drained](beast::error_code error, std::size_t n) {
        if (error)
            return self->stream_.close();
        self->buffer_.clear();
        self->drain(drained + n);
    });
}
