#include "transport/UrlText.h"

#include <charconv>

namespace {

// The byte a "%XX" escape at the start of `text` stands for; -1 when it is not one.
int escapedByte(std::string_view text)
{
    if (text.size() < 3 || text[0] != '%')
        return -1;
    unsigned value = 0;
    const char *end = text.data() + 3;
    const auto [stop, error] = std::from_chars(text.data() + 1, end, value, 16);
    return error == std::errc() && stop == end ? int(value) : -1;
}

}  // namespace

std::string UrlText::decode(std::string_view encoded)
{
    std::string decoded;
    decoded.reserve(encoded.size());
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        const int byte = escapedByte(encoded.substr(i));
        if (byte < 0) {
            decoded.push_back(encoded[i]);
            continue;
        }
        decoded.push_back(char(byte));
        i += 2;
    }
    return decoded;
}

bool UrlText::hasControlCharacter(std::string_view decoded)
{
    for (const char c : decoded) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return true;
    }
    return false;
}

std::optional<std::string> UrlText::parameter(std::string_view query, std::string_view name)
{
    std::optional<std::string> found;
    forEachRawParameter(query, [&](std::string_view rawName, std::string_view rawValue) {
        const bool matches = rawName.find('%') == std::string_view::npos ? rawName == name : decode(rawName) == name;
        if (matches)
            found = decode(rawValue);
        return !matches;
    });
    return found;
}
