#include "transport/Reply.h"

#include <boost/beast/http/status.hpp>

#include <charconv>

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

Reply Reply::redirect(std::string_view location)
{
    Reply reply;
    reply.status = 302;
    reply.addHeader("Location", location);
    return reply;
}

Reply &Reply::addHeader(std::string_view name, std::initializer_list<std::string_view> valueParts)
{
    headers_.append(name).append(": ");
    for (const std::string_view part : valueParts)
        headers_.append(part);
    headers_.append("\r\n");
    return *this;
}

void Reply::writeHead(std::string &out, std::uint64_t contentLength, bool keepAlive) const
{
    char number[24];
    out.append("HTTP/1.1 ");
    out.append(number, std::to_chars(number, number + sizeof number, status).ptr);
    out.push_back(' ');
    out.append(boost::beast::http::obsolete_reason(boost::beast::http::status(unsigned(status))));
    out.append("\r\n");
    out.append(headers_);
    // 1xx, 204 and 304 carry no body, and say nothing of its length.
    if (status >= 200 && status != 204 && status != 304) {
        out.append("Content-Length: ");
        out.append(number, std::to_chars(number, number + sizeof number, contentLength).ptr);
        out.append("\r\n");
    }
    if (!keepAlive)
        out.append("Connection: close\r\n");
    out.append("\r\n");
}
