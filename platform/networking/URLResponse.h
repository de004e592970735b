#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>
#include <QVariantMap>

namespace Velmora::Platform {

// What a server answered: the URL that answered, the HTTP status code (0 for
// a non-HTTP answer) and the header fields as received.
class URLResponse
{
public:
    using HeaderFields = QList<QPair<QByteArray, QByteArray>>;

    URLResponse() = default;
    URLResponse(QUrl url, int statusCode, HeaderFields headerFields);

    const QUrl &url() const { return url_; }
    int statusCode() const { return statusCode_; }

    // Every field by its name as received; repeated fields are joined with ", ".
    QVariantMap allHeaderFields() const;

    // The field's value, its name compared without case; null when absent.
    QString valueForHeaderField(QStringView name) const;

    bool isRedirect() const;

private:
    QUrl url_;
    int statusCode_ = 0;
    HeaderFields headerFields_;
};

}  // namespace Velmora::Platform
