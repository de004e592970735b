#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

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

    static Reply withBody(int status, const QByteArray &contentType, const QByteArray &body);
    static Reply text(int status, const QByteArray &message);
    static Reply redirect(const QByteArray &location);

    Reply &addHeader(const QByteArray &name, const QByteArray &value);
    QByteArray header(const QByteArray &name) const;
};
