#include "transport/HttpSession.h"

#include "transport/ConnectionRegistry.h"
#include "transport/OpenFile.h"
#include "transport/TransportCounters.h"

#include <boost/asio/post.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>

#include <array>
#include <cerrno>
#include <unistd.h>

namespace beast = boost::beast;
namespace http = beast::http;
namespace net = boost::asio;

namespace {

// What is still read from a client after the last answer, so that the kernel
// does not reset the connection before the client has read that answer.
constexpr auto drainTime = std::chrono::seconds(1);
constexpr std::size_t drainBytes = 1 << 20;
// A file is read and sent in pieces of this size, so a slow reader holds no more of it.
constexpr std::size_t fileChunkBytes = 64 * 1024;

std::string_view view(beast::string_view text)
{
    return {text.data(), text.size()};
}

std::int64_t steadyNow()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

HttpSession::HttpSession(net::ip::tcp::socket &&socket, const net::ip::address &peer, const HttpLimits &limits,
                         const HttpTransport::Handler &handler, TransportCounters &counters, ConnectionRegistry &registry)
    : stream_(std::move(socket))
    , peer_(peer)
    , buffer_(limits.headerBytes + 64 * 1024)
    , deferrer_([this] { return answerLater(); })
    , delay_(stream_.get_executor())
    , limits_(limits)
    , handler_(handler)
    , counters_(counters)
    , registry_(registry)
{
    ++counters_.openConnections;
    // Every reply is written whole, so nothing is gained by waiting for the client's delayed ACK.
    beast::error_code ignored;
    stream_.socket().set_option(net::ip::tcp::no_delay(true), ignored);
    markActive();
}

HttpSession::~HttpSession()
{
    releaseUnsent();
    --counters_.openConnections;
    registry_.leave(this, peer_);
}

void HttpSession::start()
{
    readRequest();
}

bool HttpSession::evict()
{
    auto self = weak_from_this().lock();
    if (!self || evicted_.exchange(true))
        return false;
    // The only reference left may be this one: it must not end here, where the registry's lock is held.
    net::post(stream_.get_executor(), [self = std::move(self)] {
        self->delay_.cancel();
        self->stream_.close();
    });
    return true;
}

void HttpSession::markActive()
{
    lastActive_ = steadyNow();
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
    markActive();
    if (error == http::error::end_of_stream || error == http::error::partial_message)
        return stream_.close();
    if (error && error.category() == http::make_error_code(http::error::end_of_stream).category())
        return refuseBrokenRequest(error);
    if (error)  // timeouts and resets
        return close();
    if (auto refusal = protocolRefusal())
        return answer(std::move(*refusal), false);
    const auto &message = parser_->get();
    requestKeepAlive_ = message.version() == 11 && message.keep_alive();
    if (auto reply = handle())
        answer(std::move(*reply), requestKeepAlive_);
}

std::optional<Reply> HttpSession::handle()
{
    const auto &message = parser_->get();
    headers_.clear();
    for (const auto &field : message)
        headers_.emplace_back(view(field.name_string()), view(field.value()));
    const HttpRequest request(view(message.method_string()), view(message.target()), headers_, &deferrer_);
    // A NUL or line break inside a path would cut it short wherever it is used as text.
    if (UrlText::hasControlCharacter(request.path()))
        return Reply::text(400, "control character in the path");
    deferred_ = false;
    Reply reply = handler_(request);
    if (deferred_)
        return std::nullopt;
    return reply;
}

HttpRequest::Completion HttpSession::answerLater()
{
    deferred_ = true;
    // Until the answer comes, this wait holds the session; it ends with the
    // server's I/O, so a completion never keeps a session past the server.
    delay_.expires_at(net::steady_timer::time_point::max());
    delay_.async_wait([self = shared_from_this()](beast::error_code) {});
    return [weak = weak_from_this(), keepAlive = requestKeepAlive_](Reply reply) {
        auto self = weak.lock();
        if (!self)  // closed meanwhile, or the server stopped
            return;
        const auto executor = self->stream_.get_executor();
        net::post(executor, [self = std::move(self), reply = std::move(reply), keepAlive]() mutable {
            self->delay_.cancel();
            self->answer(std::move(reply), keepAlive);
        });
    };
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
    if (HttpRequest::parameterCount(view(message.target())) > limits_.queryParameters)
        return Reply::text(400, "too many query parameters");
    return std::nullopt;
}

void HttpSession::answer(Reply reply, bool keepAlive)
{
    if (reply.delayMs > 0) {
        delay_.expires_after(std::chrono::milliseconds(reply.delayMs));
        delay_.async_wait([self = shared_from_this(), delayed = std::move(reply), keepAlive](beast::error_code error) mutable {
            if (error)
                return self->close();
            delayed.delayMs = 0;
            self->answer(std::move(delayed), keepAlive);
        });
        return;
    }
    reply_ = std::move(reply);
    keepAlive_ = keepAlive && !reply_.truncated;
    std::uint64_t length = std::uint64_t(reply_.body.size());
    if (reply_.file) {
        length = std::uint64_t(reply_.file->size());
        fileOffset_ = 0;
        if (!readFileChunk())
            return answer(Reply::text(500, "cannot read the file"), false);
    } else {
        // A truncated reply announces it all and sends half.
        body_ = std::string_view(reply_.body.constData(), std::size_t(reply_.truncated ? length / 2 : length));
    }
    head_.clear();
    headSent_ = 0;
    reply_.writeHead(head_, length, keepAlive_);
    writeSome();
}

bool HttpSession::readFileChunk()
{
    const std::size_t wanted = std::size_t(std::min<std::uint64_t>(fileChunkBytes, std::uint64_t(reply_.file->size()) - fileOffset_));
    fileChunk_.resize(wanted);
    for (std::size_t got = 0; got < wanted;) {
        const ssize_t n = ::pread(reply_.file->descriptor(), fileChunk_.data() + got, wanted - got, off_t(fileOffset_ + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)  // shrunk under us: what was announced cannot be sent
            return false;
        got += std::size_t(n);
    }
    fileOffset_ += wanted;
    body_ = fileChunk_;
    return true;
}

void HttpSession::writeSome()
{
    const std::array<net::const_buffer, 2> buffers{net::buffer(head_.data() + headSent_, head_.size() - headSent_),
                                                   net::buffer(body_.data(), body_.size())};
    stream_.expires_after(limits_.idleTimeout);
    ++counters_.writes;
    stream_.async_write_some(buffers, [self = shared_from_this()](beast::error_code error, std::size_t written) {
        self->onWritten(error, written);
    });
}

void HttpSession::onWritten(beast::error_code error, std::size_t written)
{
    if (error)
        return stream_.close();
    markActive();
    counters_.bytesSent += written;
    const std::size_t fromHead = std::min(written, head_.size() - headSent_);
    headSent_ += fromHead;
    body_.remove_prefix(written - fromHead);
    const std::size_t left = head_.size() - headSent_ + body_.size();
    if (left > 0) {
        // The client reads slower than we write: what waits for it counts against the server-wide cap.
        if (held_ == 0)
            unsentSince_ = steadyNow();
        if (left > held_)
            registry_.holdUnsent(left - held_);
        else
            registry_.releaseUnsent(held_ - left);
        held_ = left;
        return writeSome();
    }
    releaseUnsent();
    if (reply_.file && fileOffset_ < std::uint64_t(reply_.file->size())) {
        if (!readFileChunk())
            return stream_.close();
        return writeSome();
    }
    finishReply();
}

void HttpSession::releaseUnsent()
{
    if (held_ > 0)
        registry_.releaseUnsent(held_);
    held_ = 0;
    unsentSince_ = 0;
}

void HttpSession::finishReply()
{
    reply_ = Reply();
    body_ = {};
    std::string().swap(fileChunk_);
    if (!keepAlive_)
        return close();
    waitForNextRequest();
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
