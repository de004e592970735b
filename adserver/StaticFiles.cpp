#include "StaticFiles.h"

#include "HttpDate.h"

#include <QDir>
#include <QFile>
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
    const QFileInfo info(root_ + QLatin1Char('/') + relative);
    // The canonical path catches ".." and symbolic links that lead out of the site.
    if (!info.isFile() || !info.canonicalFilePath().startsWith(root_ + QLatin1Char('/')))
        return std::nullopt;

    const QByteArray lastModified = HttpDate::format(info.lastModified());
    if (HttpDate::isNotModified(info.lastModified(), ifModifiedSince)) {
        Reply reply;
        reply.status = 304;
        reply.addHeader("Last-Modified", lastModified);
        return reply;
    }
    QFile file(info.filePath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return Reply::withBody(200, contentType(info.fileName()), file.readAll())
        .addHeader("Last-Modified", lastModified);
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
