#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

#include <functional>
#include <memory>

class OpenFile;

// One HTTP response as the routes decide it; the server writes it out.
class Reply
{
public:
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    // Announce the full length but send only half of the body, then hang up.
    bool truncated = false;
    // Streamed from this file instead of `body`.
    std::shared_ptr<const OpenFile> file;
    // Held back this long before it is sent; the server keeps answering others meanwhile.
    int delayMs = 0;
    // Decided later: the session hands this a completion that any thread may
    // call once with the real reply, and reads nothing more from the
    // connection until then. The fields above are what the reply will be if
    // all goes well.
    using Completion = std::function<void(Reply)>;
    std::function<void(Completion)> deferred;

    static Reply withBody(int status, const QByteArray &contentType, const QByteArray &body);
    static Reply text(int status, const QByteArray &message);
    static Reply redirect(const QByteArray &location);

    Reply &addHeader(const QByteArray &name, const QByteArray &value);
    QByteArray header(const QByteArray &name) const;
};
