#pragma once

#include <optional>
#include <string>
#include <string_view>

// Percent-encoded URL parts (paths and query strings) read as plain bytes.
// '+' stays '+', and a malformed escape is kept as it stands.
class UrlText
{
public:
    static std::string decode(std::string_view encoded);
    // Whether decoded text holds a byte below 0x20 or DEL.
    static bool hasControlCharacter(std::string_view decoded);

    // The decoded value of the first parameter whose decoded name is `name`.
    static std::optional<std::string> parameter(std::string_view query, std::string_view name);

    // Calls visit(name, value) for each parameter in order, both decoded; empty pairs are skipped.
    template<class Visit>
    static void forEachParameter(std::string_view query, Visit &&visit)
    {
        forEachRawParameter(query, [&visit](std::string_view name, std::string_view value) {
            visit(decode(name), decode(value));
            return true;
        });
    }

private:
    // Stops when visit returns false.
    template<class Visit>
    static void forEachRawParameter(std::string_view query, Visit &&visit)
    {
        while (!query.empty()) {
            const std::size_t end = query.find('&');
            const std::string_view pair = query.substr(0, end);
            query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
            if (pair.empty())
                continue;
            const std::size_t equals = pair.find('=');
            const std::string_view value = equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
            if (!visit(pair.substr(0, equals), value))
                return;
        }
    }
};
