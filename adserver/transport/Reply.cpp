#include "transport/Reply.h"

Reply Reply::withBody(int status, const QByteArray &contentType, const QByteArray &body)
{
    Reply reply;
    reply.status = status;
    reply.body = body;
    reply.addHeader("Content-Type", contentType);
    return reply;
}

Reply Reply::text(int status, const QByteArray &message)
{
    return withBody(status, "text/plain; charset=utf-8", message.isEmpty() ? message : message + '\n');
}

Reply Reply::redirect(const QByteArray &location)
{
    Reply reply;
    reply.status = 302;
    reply.addHeader("Location", location);
    return reply;
}

Reply &Reply::addHeader(const QByteArray &name, const QByteArray &value)
{
    headers.append({name, value});
    return *this;
}

QByteArray Reply::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}
