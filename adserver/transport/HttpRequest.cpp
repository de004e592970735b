#include "transport/HttpRequest.h"

#include <algorithm>
#include <strings.h>

HttpRequest::HttpRequest(std::string_view method, std::string_view target, std::span<const Header> headers,
                         const Deferrer *deferrer)
    : method_(method)
    , headers_(headers)
    , deferrer_(deferrer)
{
    const std::size_t mark = target.find('?');
    path_ = UrlText::decode(target.substr(0, mark));
    if (mark != std::string_view::npos)
        query_ = target.substr(mark + 1);
}

std::string_view HttpRequest::header(std::string_view name) const
{
    for (const auto &[key, value] : headers_) {
        if (key.size() == name.size() && ::strncasecmp(key.data(), name.data(), name.size()) == 0)
            return value;
    }
    return {};
}

std::size_t HttpRequest::parameterCount(std::string_view target)
{
    const std::size_t mark = target.find('?');
    if (mark == std::string_view::npos || mark + 1 == target.size())
        return 0;
    return std::size_t(std::count(target.begin() + std::ptrdiff_t(mark), target.end(), '&')) + 1;
}
