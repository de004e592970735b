#pragma once

#include <QByteArray>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

class OpenFile;

// One HTTP response as the routes decide it; the server writes it out.
// Header lines are kept ready to send, and the body is implicitly shared, so
// a large page sent to many clients at once exists once in memory.
class Reply
{
public:
    int status = 200;
    QByteArray body;
    // Announce the full length but send only half of the body, then hang up.
    bool truncated = false;
    // Streamed from this file instead of `body`.
    std::shared_ptr<const OpenFile> file;
    // Held back this long before it is sent; the server keeps answering others meanwhile.
    int delayMs = 0;

    static Reply withBody(int status, const QByteArray &contentType, const QByteArray &body);
    static Reply text(int status, const QByteArray &message);
    static Reply redirect(std::string_view location);

    // The value is the concatenation of `valueParts`.
    Reply &addHeader(std::string_view name, std::initializer_list<std::string_view> valueParts);
    Reply &addHeader(std::string_view name, std::string_view value) { return addHeader(name, {value}); }
    Reply &addHeader(std::string_view name, const char *value) { return addHeader(name, {std::string_view(value)}); }
    Reply &addHeader(std::string_view name, const QByteArray &value) { return addHeader(name, {std::string_view(value.constData(), std::size_t(value.size()))}); }

    // The status line and header block for a body of `contentLength` bytes.
    void writeHead(std::string &out, std::uint64_t contentLength, bool keepAlive) const;

private:
    std::string headers_;  // "Name: value\r\n" each
};
