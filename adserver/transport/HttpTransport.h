#pragma once

#include "transport/HttpLimits.h"
#include "transport/HttpRequest.h"
#include "transport/Reply.h"
#include "transport/TransportCounters.h"

#include <QHostAddress>
#include <QString>

#include <functional>
#include <memory>

// The server's HTTP/1.1 side: listens, reads requests within HttpLimits,
// answers each through the handler in order, keeps connections alive, and
// refuses what breaks the protocol or the limits itself. The handler is called
// from several threads at once, with a request that lives only for the call.
class HttpTransport
{
public:
    using Handler = std::function<Reply(const HttpRequest &)>;

    HttpTransport(const HttpLimits &limits, Handler handler);
    ~HttpTransport();

    // Binds and listens; explains a failure (a busy port says "in use").
    bool listen(const QHostAddress &address, quint16 port, QString *error);
    quint16 port() const;
    // Serves on `threads` threads until stop() or destruction.
    void start(int threads);
    void stop();
    const TransportCounters &counters() const;

private:
    class Listener;
    std::unique_ptr<Listener> listener_;
};
