#include "routes/StaticFiles.h"

#include "transport/HttpDate.h"
#include "transport/OpenFile.h"

#include <QDir>
#include <QFileInfo>

StaticFiles::StaticFiles(const QString &rootDir)
    : root_(QFileInfo(rootDir).canonicalFilePath())
{
}

std::optional<Reply> StaticFiles::serve(const QString &urlPath, const QByteArray &ifModifiedSince) const
{
    if (root_.isEmpty())
        return std::nullopt;
    QString relative = QDir::cleanPath(urlPath);
    if (urlPath.endsWith(QLatin1Char('/')))
        relative += QStringLiteral("/index.html");
    auto file = OpenFile::openInside(root_ + QLatin1Char('/') + relative, root_);
    if (!file)
        return std::nullopt;

    const QByteArray lastModified = HttpDate::format(file->lastModified());
    Reply reply;
    if (HttpDate::isNotModified(file->lastModified(), ifModifiedSince)) {
        reply.status = 304;
    } else {
        reply.addHeader("Content-Type", contentType(relative));
        reply.file = std::move(file);
    }
    return reply.addHeader("Last-Modified", lastModified);
}

QByteArray StaticFiles::contentType(const QString &fileName)
{
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    if (suffix == QLatin1String("html"))
        return "text/html; charset=utf-8";
    if (suffix == QLatin1String("js"))
        return "text/javascript; charset=utf-8";
    if (suffix == QLatin1String("css"))
        return "text/css; charset=utf-8";
    if (suffix == QLatin1String("json"))
        return "application/json";
    if (suffix == QLatin1String("png"))
        return "image/png";
    if (suffix == QLatin1String("svg"))
        return "image/svg+xml";
    return "application/octet-stream";
}
