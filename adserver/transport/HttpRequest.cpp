#include "transport/HttpRequest.h"

#include <QUrl>

HttpRequest::HttpRequest(const QByteArray &method, const QByteArray &target, QList<QPair<QByteArray, QByteArray>> headers)
    : method_(method)
    , headers_(std::move(headers))
{
    const QUrl url = QUrl::fromEncoded(target);
    path_ = url.path();
    query_ = QUrlQuery(url);
}

QByteArray HttpRequest::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers_) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

qsizetype HttpRequest::parameterCount(const QByteArray &target)
{
    const qsizetype mark = target.indexOf('?');
    if (mark < 0 || mark + 1 == target.size())
        return 0;
    return target.count('&') + 1;
}
