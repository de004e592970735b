#include "URLResponse.h"

namespace Velmora::Platform {

URLResponse::URLResponse(QUrl url, int statusCode, HeaderFields headerFields)
    : url_(std::move(url)), statusCode_(statusCode), headerFields_(std::move(headerFields))
{
}

QVariantMap URLResponse::allHeaderFields() const
{
    QVariantMap fields;
    for (const auto &[name, value] : headerFields_) {
        const QString key = QString::fromLatin1(name);
        const QString text = QString::fromLatin1(value);
        const auto existing = fields.find(key);
        if (existing == fields.end())
            fields.insert(key, text);
        else
            *existing = existing->toString() + QStringLiteral(", ") + text;
    }
    return fields;
}

QString URLResponse::valueForHeaderField(QStringView name) const
{
    QString found;
    for (const auto &[fieldName, value] : headerFields_) {
        if (QString::fromLatin1(fieldName).compare(name, Qt::CaseInsensitive) != 0)
            continue;
        found = found.isNull() ? QString::fromLatin1(value) : found + QStringLiteral(", ") + QString::fromLatin1(value);
    }
    return found;
}

bool URLResponse::isRedirect() const
{
    switch (statusCode_) {
    case 301: case 302: case 303: case 307: case 308:
        return true;
    default:
        return false;
    }
}

}  // namespace Velmora::Platform
