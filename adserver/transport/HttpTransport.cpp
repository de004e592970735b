#include "transport/HttpTransport.h"

#include "transport/ConnectionRegistry.h"
#include "transport/HttpSession.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>

#include <cstdio>
#include <thread>
#include <vector>

namespace net = boost::asio;
using net::ip::tcp;

class HttpTransport::Listener
{
public:
    Listener(const HttpLimits &limits, Handler handler)
        : limits_(limits)
        , handler_(std::move(handler))
    {
    }

    ~Listener() { stop(); }

    bool listen(const QHostAddress &address, quint16 port, QString *error)
    {
        boost::system::error_code code;
        const tcp::endpoint endpoint(net::ip::make_address(address.toString().toStdString(), code), port);
        if (!code)
            acceptor_.open(endpoint.protocol(), code);
        if (!code)
            acceptor_.set_option(net::socket_base::reuse_address(true), code);
        if (!code)
            acceptor_.bind(endpoint, code);
        if (!code)
            acceptor_.listen(net::socket_base::max_listen_connections, code);
        if (code) {
            *error = QStringLiteral("cannot listen on %1:%2: %3")
                         .arg(address.toString())
                         .arg(port)
                         .arg(QString::fromStdString(code.message()));
        }
        return !code;
    }

    quint16 port() const
    {
        boost::system::error_code code;
        return acceptor_.local_endpoint(code).port();
    }

    void start(int threads)
    {
        // One I/O context per thread, each connection on one of them: no
        // locks between threads inside the I/O layer.
        for (int i = 1; i < threads; ++i)
            workers_.push_back(std::make_unique<net::io_context>(1));
        accept();
        threads_.emplace_back([this] { run(io_); });
        for (auto &worker : workers_) {
            net::io_context &context = *worker;
            threads_.emplace_back([this, &context] { run(context); });
        }
    }

    void stop()
    {
        io_.stop();
        for (auto &worker : workers_)
            worker->stop();
        for (std::thread &thread : threads_)
            thread.join();
        threads_.clear();
    }

private:
    void run(net::io_context &context)
    {
        // Without it a worker context with no connection yet would return at once.
        const auto keepRunning = net::make_work_guard(context);
        for (;;) {
            try {
                context.run();
                return;
            } catch (const std::exception &e) {  // one request's failure must not end the server
                std::fprintf(stderr, "velmora-adserver: %s\n", e.what());
            }
        }
    }

    void accept()
    {
        net::io_context &context = nextContext();
        acceptor_.async_accept(context, [this](boost::system::error_code error, tcp::socket socket) {
            if (error == net::error::operation_aborted)
                return;
            if (error) {
                // Out of descriptors: the pending connection stays queued, so
                // trying again at once would only spin.
                retry_.expires_after(std::chrono::milliseconds(50));
                retry_.async_wait([this](boost::system::error_code waitError) {
                    if (!waitError)
                        accept();
                });
                return;
            }
            boost::system::error_code peerError;
            const auto peer = socket.remote_endpoint(peerError).address();
            if (!peerError && registry_.admit(peer))
                startSession(std::move(socket), peer);
            else
                socket.close();
            accept();
        });
    }

    void startSession(tcp::socket &&socket, const net::ip::address &peer)
    {
        // Started on its own thread, which alone touches it from then on.
        const auto executor = socket.get_executor();
        auto session = std::make_shared<HttpSession>(std::move(socket), peer, limits_, handler_, counters_, registry_);
        registry_.enrol(session.get());
        net::post(executor, [session] { session->start(); });
    }

    net::io_context &nextContext()
    {
        const std::size_t turn = turn_++ % (workers_.size() + 1);
        return turn == 0 ? io_ : *workers_[turn - 1];
    }

public:
    // Sessions refer to these four, so they outlive the I/O contexts.
    const HttpLimits limits_;
    const Handler handler_;
    TransportCounters counters_;
    ConnectionRegistry registry_{limits_, counters_};

private:
    // A pending accept holds a socket of a worker's context: the workers go
    // after the listening context has dropped it.
    std::vector<std::unique_ptr<net::io_context>> workers_;
    net::io_context io_{1};
    std::size_t turn_ = 0;
    tcp::acceptor acceptor_{io_};
    net::steady_timer retry_{io_};
    std::vector<std::thread> threads_;
};

HttpTransport::HttpTransport(const HttpLimits &limits, Handler handler)
    : listener_(std::make_unique<Listener>(limits, std::move(handler)))
{
}

HttpTransport::~HttpTransport() = default;

bool HttpTransport::listen(const QHostAddress &address, quint16 port, QString *error)
{
    return listener_->listen(address, port, error);
}

quint16 HttpTransport::port() const
{
    return listener_->port();
}

void HttpTransport::start(int threads)
{
    listener_->start(threads);
}

void HttpTransport::stop()
{
    listener_->stop();
}

const TransportCounters &HttpTransport::counters() const
{
    return listener_->counters_;
}
