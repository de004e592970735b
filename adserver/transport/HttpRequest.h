#pragma once

#include "transport/Reply.h"
#include "transport/UrlText.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// One parsed HTTP request as the routes see it, whatever library read it off
// the wire. It views the reader's buffers, so it lives only while it is answered.
class HttpRequest
{
public:
    using Header = std::pair<std::string_view, std::string_view>;
    // Answers a request whose handler returned before its answer was known;
    // callable once, from any thread; does nothing once the connection is gone.
    using Completion = std::function<void(Reply reply)>;
    using Deferrer = std::function<Completion()>;

    HttpRequest(std::string_view method, std::string_view target, std::span<const Header> headers,
                const Deferrer *deferrer = nullptr);

    // For a handler that answers later (once something it waits for has
    // landed): what it returns is then ignored, and nothing more is read on
    // the connection until the completion is called.
    Completion answerLater() const { return deferrer_ ? (*deferrer_)() : Completion(); }

    std::string_view method() const { return method_; }
    // Percent-decoded.
    const std::string &path() const { return path_; }
    // As sent, still encoded.
    std::string_view query() const { return query_; }
    std::optional<std::string> parameter(std::string_view name) const { return UrlText::parameter(query_, name); }
    // The first value of a header, names compared case-insensitively.
    std::string_view header(std::string_view name) const;

    // Query parameters in a request target, counted without decoding it.
    static std::size_t parameterCount(std::string_view target);

private:
    std::string_view method_;
    std::string path_;
    std::string_view query_;
    std::span<const Header> headers_;
    const Deferrer *deferrer_;
};
