#include "transport/UrlText.h"

namespace {

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string UrlText::decode(std::string_view encoded)
{
    std::string decoded;
    decoded.reserve(encoded.size());
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        const int high = encoded[i] == '%' && i + 2 < encoded.size() ? hexValue(encoded[i + 1]) : -1;
        const int low = high >= 0 ? hexValue(encoded[i + 2]) : -1;
        if (low < 0) {
            decoded.push_back(encoded[i]);
            continue;
        }
        decoded.push_back(char(high * 16 + low));
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
