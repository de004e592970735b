#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrlQuery>

// One parsed HTTP request as the routes see it, whatever library read it off
// the wire.
class HttpRequest
{
public:
    HttpRequest(const QByteArray &method, const QByteArray &target, QList<QPair<QByteArray, QByteArray>> headers);

    QByteArray method() const { return method_; }
    QString path() const { return path_; }
    const QUrlQuery &query() const { return query_; }
    // The first value of a header, names compared case-insensitively.
    QByteArray header(const QByteArray &name) const;

    // Query parameters in a request target, counted without decoding it.
    static qsizetype parameterCount(const QByteArray &target);

private:
    QByteArray method_;
    QString path_;
    QUrlQuery query_;
    QList<QPair<QByteArray, QByteArray>> headers_;
};
