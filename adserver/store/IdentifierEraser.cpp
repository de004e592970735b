#include "store/IdentifierEraser.h"

#include "store/CountStore.h"
#include "store/JsonLine.h"
#include "store/RequestLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace {

// Closes the descriptor, and with it the lock, whatever way the rewrite ends.
struct Descriptor
{
    int fd;
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

bool writeAll(int fd, const char *data, std::size_t size, off_t offset)
{
    while (size > 0) {
        const ssize_t n = ::pwrite(fd, data, size, offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n, size -= std::size_t(n), offset += n;
    }
    return true;
}

}  // namespace

IdentifierEraser::IdentifierEraser(const QString &identifier)
{
    std::string quoted;
    JsonLine::appendString(quoted, identifier.toStdString());
    logText_ = QByteArray::fromStdString(quoted);
    const QByteArray array = QJsonDocument(QJsonArray{identifier}).toJson(QJsonDocument::Compact);
    storeText_ = array.mid(1, array.size() - 2);
}

std::optional<IdentifierEraser::Removed> IdentifierEraser::eraseFromLog(const QString &logPath, QString *error) const
{
    // The current file first: should it be rotated meanwhile, the rotated files are read after.
    QStringList paths{logPath};
    const QFileInfo log(logPath);
    for (const QString &name : log.dir().entryList({log.completeBaseName() + QStringLiteral("-*")}, QDir::Files, QDir::Name)) {
        if (RequestLog::rotatedDay(logPath, name) >= 0)
            paths << log.dir().filePath(name);
    }
    Removed removed;
    for (const QString &path : std::as_const(paths)) {
        const std::optional<qint64> lines = eraseFromFile(path, error);
        if (!lines)
            return std::nullopt;
        removed.lines += *lines;
        removed.files += *lines > 0;
    }
    return removed;
}

// Moves each kept line down over the removed ones and cuts the file at the end.
std::optional<qint64> IdentifierEraser::eraseFromFile(const QString &path, QString *error) const
{
    const Descriptor file{::open(QFile::encodeName(path).constData(), O_RDWR | O_CLOEXEC)};
    if (file.fd < 0 && errno == ENOENT)
        return 0;
    if (file.fd < 0 || ::flock(file.fd, LOCK_EX) != 0) {
        *error = QStringLiteral("cannot rewrite %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return std::nullopt;
    }
    qint64 removed = 0;
    off_t readAt = 0, writeAt = 0;
    QByteArray pending;
    char buffer[1 << 16];
    for (bool atEnd = false; !atEnd;) {
        const ssize_t n = ::pread(file.fd, buffer, sizeof buffer, readAt);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            *error = QStringLiteral("cannot read %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
            return std::nullopt;
        }
        atEnd = n == 0;
        readAt += n;
        pending.append(buffer, n);
        qsizetype start = 0;
        for (qsizetype end; (end = pending.indexOf('\n', start)) >= 0 || (atEnd && start < pending.size()); start = end + 1) {
            if (end < 0)
                end = pending.size() - 1;  // a last line without its newline
            const QByteArrayView line(pending.constData() + start, end + 1 - start);
            if (line.contains(logText_)) {
                ++removed;
                continue;
            }
            // Until the first removal every line is already where it belongs.
            if (removed > 0 && !writeAll(file.fd, line.data(), std::size_t(line.size()), writeAt)) {
                *error = QStringLiteral("cannot write %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
                return std::nullopt;
            }
            writeAt += line.size();
        }
        pending.remove(0, start);
    }
    if (removed > 0 && (::ftruncate(file.fd, writeAt) != 0 || ::fsync(file.fd) != 0)) {
        *error = QStringLiteral("cannot cut %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return std::nullopt;
    }
    return removed;
}

std::optional<qint64> IdentifierEraser::eraseFromStore(CountStore &store) const
{
    return store.eraseRequestsHolding(storeText_);
}
