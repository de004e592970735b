#include "transport/OpenFile.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString resolvedPath(int fd)
{
    char target[4096];
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(fd);
    const ssize_t length = ::readlink(link.constData(), target, sizeof target);
    if (length <= 0 || length == ssize_t(sizeof target))
        return {};
    return QFile::decodeName(QByteArray(target, length));
}

}  // namespace

std::shared_ptr<const OpenFile> OpenFile::openInside(const QString &path, const QString &root)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return nullptr;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || !resolvedPath(fd).startsWith(root + QLatin1Char('/'))) {
        ::close(fd);
        return nullptr;
    }
    const QDateTime modified = QDateTime::fromSecsSinceEpoch(info.st_mtim.tv_sec, Qt::UTC);
    return std::shared_ptr<const OpenFile>(new OpenFile(fd, info.st_size, modified));
}

OpenFile::OpenFile(int fd, qint64 size, const QDateTime &lastModified)
    : fd_(fd)
    , size_(size)
    , lastModified_(lastModified)
{
}

OpenFile::~OpenFile()
{
    ::close(fd_);
}
