#include "store/RequestLog.h"

#include "store/JsonLine.h"
#include "transport/UrlText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <unistd.h>

namespace {

int openForAppending(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

struct PendingHead
{
    std::int64_t timeMs;
    std::int32_t status;
    std::uint32_t methodSize;
    std::uint32_t pathSize;
    std::uint32_t querySize;
};

std::string_view take(std::string_view &records, std::size_t size)
{
    const std::string_view taken = records.substr(0, size);
    records.remove_prefix(taken.size());
    return taken;
}

// One line as the log has always had it: keys in order, parameters decoded, the last of a repeated name kept.
void appendLine(std::string &out, JsonLine &json, std::int64_t timeMs, int status, std::string_view method,
                std::string_view path, std::string_view query)
{
    std::map<std::string, std::string> parameters;
    UrlText::forEachParameter(query, [&parameters](std::string name, std::string value) {
        parameters.insert_or_assign(std::move(name), std::move(value));
    });
    out.append("{\"method\":");
    JsonLine::appendString(out, method);
    out.append(",\"path\":");
    JsonLine::appendString(out, path);
    out.append(",\"query\":{");
    for (auto parameter = parameters.begin(); parameter != parameters.end(); ++parameter) {
        if (parameter != parameters.begin())
            out.push_back(',');
        JsonLine::appendString(out, parameter->first);
        out.push_back(':');
        JsonLine::appendString(out, parameter->second);
    }
    out.append("},\"status\":").append(std::to_string(status)).append(",\"time\":\"");
    json.appendTime(out, timeMs);
    out.append("\"}\n");
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
    open_ = true;
    return true;
}

void RequestLog::record(std::string_view method, std::string_view path, std::string_view query, int status)
{
    if (!open_)
        return;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const PendingHead head{std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), status,
                           std::uint32_t(method.size()), std::uint32_t(path.size()), std::uint32_t(query.size())};
    const std::lock_guard lock(pendingMutex_);
    pending_.append(reinterpret_cast<const char *>(&head), sizeof head).append(method).append(path).append(query);
    ++pendingLines_;
}

void RequestLog::flush()
{
    const std::lock_guard fileLock(fileMutex_);
    std::string records;
    qint64 count = 0;
    {
        const std::lock_guard lock(pendingMutex_);
        records.swap(pending_);
        std::swap(count, pendingLines_);
    }
    std::string lines;
    lines.reserve(records.size() * 2);
    for (std::string_view rest = records; rest.size() >= sizeof(PendingHead);) {
        PendingHead head;
        std::memcpy(&head, take(rest, sizeof head).data(), sizeof head);
        const std::string_view method = take(rest, head.methodSize);
        const std::string_view path = take(rest, head.pathSize);
        appendLine(lines, json_, head.timeMs, head.status, method, path, take(rest, head.querySize));
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

void RequestLog::writeOut(std::string_view lines, qint64 count)
{
    std::size_t written = 0;
    while (fd_ >= 0 && written < lines.size()) {
        const ssize_t n = ::write(fd_, lines.data() + written, lines.size() - written);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (!failing_)
                std::fprintf(stderr, "velmora-adserver: cannot write the request log %s: %s; lost lines are counted in /stats\n",
                             qPrintable(path_), std::strerror(errno));
            failing_ = true;
            // Lines cut in half count as lost too.
            linesLost_ += count - std::count(lines.begin(), lines.begin() + std::ptrdiff_t(written), '\n');
            return;
        }
        written += std::size_t(n);
    }
    failing_ = false;
}
