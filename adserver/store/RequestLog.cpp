#include "store/RequestLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

int openForAppending(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

}  // namespace

RequestLog::~RequestLog()
{
    flush();
    if (fd_ >= 0)
        ::close(fd_);
}

bool RequestLog::open(const QString &path, QString *error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    fd_ = openForAppending(path);
    if (fd_ < 0) {
        *error = QStringLiteral("cannot open the request log %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    path_ = path;
    return true;
}

void RequestLog::record(const QByteArray &method, const QString &path, const QUrlQuery &query, int status)
{
    if (path_.isEmpty())
        return;
    QJsonObject parameters;
    for (const auto &[key, value] : query.queryItems(QUrl::FullyDecoded))
        parameters.insert(key, value);
    const QJsonObject line{
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("method"), QString::fromLatin1(method)},
        {QStringLiteral("path"), path},
        {QStringLiteral("query"), parameters},
        {QStringLiteral("status"), status},
    };
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    const std::lock_guard lock(pendingMutex_);
    pending_ += text;
    ++pendingLines_;
}

void RequestLog::flush()
{
    const std::lock_guard fileLock(fileMutex_);
    QByteArray lines;
    qint64 count = 0;
    {
        const std::lock_guard lock(pendingMutex_);
        lines.swap(pending_);
        std::swap(count, pendingLines_);
    }
    if (reopenRequested_.exchange(false) && fd_ >= 0) {
        const int fresh = openForAppending(path_);
        if (fresh >= 0) {
            ::close(fd_);
            fd_ = fresh;
        } else {
            std::fprintf(stderr, "velmora-adserver: cannot reopen the request log %s: %s; still writing the old one\n",
                         qPrintable(path_), std::strerror(errno));
        }
    }
    if (count > 0)
        writeOut(lines, count);
}

void RequestLog::writeOut(const QByteArray &lines, qint64 count)
{
    qsizetype written = 0;
    while (fd_ >= 0 && written < lines.size()) {
        const ssize_t n = ::write(fd_, lines.constData() + written, size_t(lines.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (!failing_)
                std::fprintf(stderr, "velmora-adserver: cannot write the request log %s: %s; lost lines are counted in /stats\n",
                             qPrintable(path_), std::strerror(errno));
            failing_ = true;
            // Lines cut in half count as lost too.
            linesLost_ += count - lines.left(written).count('\n');
            return;
        }
        written += n;
    }
    failing_ = false;
}
