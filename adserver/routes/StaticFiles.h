#pragma once

#include "transport/Reply.h"

#include <QString>

#include <optional>

// Serves the site directory (landing pages, the web app, creative assets)
// with Last-Modified and 304 answers to conditional requests.
class StaticFiles
{
public:
    explicit StaticFiles(const QString &rootDir);

    // Nothing when the path names no file inside the root.
    std::optional<Reply> serve(const QString &urlPath, const QByteArray &ifModifiedSince) const;

    static QByteArray contentType(const QString &fileName);

private:
    QString root_;
};
