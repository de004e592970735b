#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Pieces of JSON lines written with plain strings, as fast as the log needs.
class JsonLine
{
public:
    // A JSON string of `text`, with invalid UTF-8 replaced by U+FFFD.
    static void appendString(std::string &out, std::string_view text);
    // "2026-11-25T08:17:20.123Z" for a time in milliseconds since the epoch (UTC).
    void appendTime(std::string &out, std::int64_t timeMs);

private:
    // The date and time up to the second of the last time written: lines come
    // in time order, so it is formatted about once a second.
    std::int64_t second_ = -1;
    std::string secondText_;
};
