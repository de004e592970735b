#pragma once

#include <QByteArray>
#include <QDateTime>

// HTTP dates ("Sun, 06 Nov 1994 08:49:37 GMT", the zone word optional on input) for Last-Modified and
// conditional requests.
class HttpDate
{
public:
    static QByteArray format(const QDateTime &time);
    // Invalid when the text is not an HTTP date.
    static QDateTime parse(const QByteArray &text);
    // Whether a client holding a copy from `ifModifiedSince` may keep it.
    static bool isNotModified(const QDateTime &lastModified, const QByteArray &ifModifiedSince);
};
