#include "store/RequestLog.h"

#include "store/JsonLine.h"
#include "transport/UrlText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::int64_t msPerDay = 86'400'000;

int openForAppending(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

std::int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The day of the last line in a file left from before, else today; nothing for what is not a plain file.
std::optional<std::int64_t> dayOfFile(int fd, std::int64_t today)
{
    struct stat status{};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return status.st_size == 0 ? today : std::min<std::int64_t>(today, status.st_mtime / 86400);
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

// Adds `from`'s lines to the end of `to` and removes `from`: a rotation never overwrites.
bool appendAndRemove(const QString &from, const QString &to)
{
    QFile source(from), target(to);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::Append))
        return false;
    while (!source.atEnd()) {
        if (target.write(source.read(1 << 20)) < 0)
            return false;
    }
    return target.flush() && QFile::remove(from);
}

}  // namespace

RequestLog::RequestLog(int retentionDays, int vendorId, std::size_t backlogBytes)
    : retentionDays_(retentionDays)
    , backlogBytes_(backlogBytes)
    , consent_(vendorId)
{
}

RequestLog::~RequestLog()
{
    flush();
    if (fd_ >= 0)
        ::close(fd_);
}

QString RequestLog::rotatedPath(const QString &path, std::int64_t day)
{
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day}}};
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", int(date.year()), unsigned(date.month()), unsigned(date.day()));
    const QFileInfo file(path);
    const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
    return file.dir().filePath(file.completeBaseName() + QLatin1Char('-') + QLatin1String(text) + suffix);
}

std::int64_t RequestLog::rotatedDay(const QString &path, const QString &fileName)
{
    const QFileInfo file(path);
    const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
    const QRegularExpression pattern(QLatin1Char('^') + QRegularExpression::escape(file.completeBaseName())
                                     + QStringLiteral("-(\\d{4})-(\\d{2})-(\\d{2})") + QRegularExpression::escape(suffix)
                                     + QLatin1Char('$'));
    const QRegularExpressionMatch match = pattern.match(fileName);
    if (!match.hasMatch())
        return -1;
    const std::chrono::year_month_day date{std::chrono::year{match.captured(1).toInt()},
                                           std::chrono::month{match.captured(2).toUInt()},
                                           std::chrono::day{match.captured(3).toUInt()}};
    return date.ok() ? std::int64_t(std::chrono::sys_days{date}.time_since_epoch().count()) : -1;
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
    const std::int64_t today = nowMs() / msPerDay;
    // A device such as /dev/full is written as it is, never rotated.
    const std::optional<std::int64_t> day = dayOfFile(fd_, today);
    rotating_ = day.has_value();
    fileDay_ = day.value_or(today);
    deleteExpired(today);
    open_ = true;
    return true;
}

void RequestLog::record(std::string_view method, std::string_view path, std::string_view query, int status)
{
    if (!open_)
        return;
    const PendingHead head{nowMs(), status, std::uint32_t(method.size()), std::uint32_t(path.size()), std::uint32_t(query.size())};
    const std::lock_guard lock(pendingMutex_);
    if (pending_.size() > backlogBytes_) {
        ++linesLost_;
        return;
    }
    pending_.append(reinterpret_cast<const char *>(&head), sizeof head).append(method).append(path).append(query);
    ++pendingLines_;
}

// One line as the log has always had it: keys in order, parameters decoded, the last of a repeated name kept;
// "withheld" names what the request's consent did not allow to keep.
void RequestLog::appendLine(std::string &out, std::int64_t timeMs, int status, std::string_view method, std::string_view path,
                            std::string_view query)
{
    ConsentFilter::Parameters parameters;
    UrlText::forEachParameter(query, [&parameters](std::string name, std::string value) {
        parameters.insert_or_assign(std::move(name), std::move(value));
    });
    const std::vector<std::string> withheld = consent_.withhold(parameters);
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
    out.push_back('}');
    if (!withheld.empty()) {
        out.append(",\"withheld\":[");
        for (const std::string &name : withheld) {
            if (&name != &withheld.front())
                out.push_back(',');
            JsonLine::appendString(out, name);
        }
        out.push_back(']');
    }
    out.append(",\"status\":").append(std::to_string(status)).append(",\"time\":\"");
    json_.appendTime(out, timeMs);
    out.append("\"}\n");
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
        appendLine(lines, head.timeMs, head.status, method, path, take(rest, head.querySize));
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
    if (open_)
        rotateIfNewDay(nowMs() / msPerDay);
    if (count > 0)
        writeOut(lines, count);
}

void RequestLog::rotateIfNewDay(std::int64_t today)
{
    if (fd_ < 0 || !rotating_ || today == fileDay_)
        return;
    const QString rotated = rotatedPath(path_, fileDay_);
    const bool moved = QFile::exists(rotated) ? appendAndRemove(path_, rotated) : QFile::rename(path_, rotated);
    const int fresh = moved ? openForAppending(path_) : -1;
    if (fresh < 0) {
        std::fprintf(stderr, "velmora-adserver: cannot rotate the request log %s to %s; still writing it\n", qPrintable(path_),
                     qPrintable(rotated));
    } else {
        ::close(fd_);
        fd_ = fresh;
    }
    fileDay_ = today;
    deleteExpired(today);
}

void RequestLog::deleteExpired(std::int64_t today) const
{
    if (retentionDays_ == 0)
        return;
    const QFileInfo log(path_);
    for (const QString &name : log.dir().entryList({log.completeBaseName() + QStringLiteral("-*")}, QDir::Files)) {
        const std::int64_t day = rotatedDay(path_, name);
        if (day >= 0 && day <= today - retentionDays_ && !QFile::remove(log.dir().filePath(name)))
            std::fprintf(stderr, "velmora-adserver: cannot delete the expired request log %s\n", qPrintable(name));
    }
}

void RequestLog::writeOut(std::string_view lines, qint64 count)
{
    if (fd_ >= 0)
        ::flock(fd_, LOCK_EX);
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
            ::flock(fd_, LOCK_UN);
            return;
        }
        written += std::size_t(n);
    }
    if (fd_ >= 0)
        ::flock(fd_, LOCK_UN);
    failing_ = false;
}
