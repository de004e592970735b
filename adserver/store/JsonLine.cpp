#include "store/JsonLine.h"

#include <cstdio>
#include <ctime>

namespace {

// The length of the valid UTF-8 sequence starting `text`, 0 when it is not one.
std::size_t utf8SequenceLength(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    std::size_t length = 0;
    std::uint32_t point = 0;
    if (lead >= 0xc2 && lead <= 0xdf)
        length = 2, point = lead & 0x1fu;
    else if (lead >= 0xe0 && lead <= 0xef)
        length = 3, point = lead & 0x0fu;
    else if (lead >= 0xf0 && lead <= 0xf4)
        length = 4, point = lead & 0x07u;
    if (length == 0 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xc0u) != 0x80u)
            return 0;
        point = point << 6 | (next & 0x3fu);
    }
    const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    const bool surrogate = point >= 0xd800 && point <= 0xdfff;
    return overlong || surrogate || point > 0x10ffff ? 0 : length;
}

bool isPlain(unsigned char c)
{
    return c >= 0x20 && c < 0x80 && c != '"' && c != '\\';
}

}  // namespace

void JsonLine::appendString(std::string &out, std::string_view text)
{
    out.push_back('"');
    for (std::size_t i = 0; i < text.size();) {
        // Most text needs no escaping: it goes in whole runs.
        std::size_t plain = i;
        while (plain < text.size() && isPlain(static_cast<unsigned char>(text[plain])))
            ++plain;
        out.append(text.substr(i, plain - i));
        if ((i = plain) == text.size())
            break;
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            const std::size_t length = utf8SequenceLength(text.substr(i));
            out.append(length ? text.substr(i, length) : std::string_view("\xef\xbf\xbd"));
            i += length ? length : 1;
            continue;
        }
        ++i;
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(char(c));
        } else if (c == '\n') {
            out.append("\\n");
        } else if (c == '\t') {
            out.append("\\t");
        } else if (c == '\r') {
            out.append("\\r");
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out.append(escaped);
        } else {
            out.push_back(char(c));
        }
    }
    out.push_back('"');
}

void JsonLine::appendTime(std::string &out, std::int64_t timeMs)
{
    const std::int64_t second = timeMs / 1000;
    if (second != second_) {
        const std::time_t time = std::time_t(second);
        std::tm parts{};
        ::gmtime_r(&time, &parts);
        char text[32];
        const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &parts);
        secondText_.assign(text, length);
        second_ = second;
    }
    char millis[8];
    std::snprintf(millis, sizeof millis, "%03dZ", int(timeMs % 1000));
    out.append(secondText_).append(millis);
}
