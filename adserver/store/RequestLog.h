#pragma once

#include "privacy/ConsentFilter.h"
#include "store/JsonLine.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

// Appends one JSON line per request to a file. Any thread may record; what it
// records waits in memory, as sent, until the next flush (the group commit's,
// before each batch of counts), which decodes and formats the lines: logging
// costs a request one copy, no formatting and no system call. What a request's
// consent signals do not allow to keep never reaches the file. A failed write
// is reported once on standard error and its lines are counted as lost, as
// are those that find too much waiting for a log that cannot keep up.
//
// The file is rotated when the day (UTC) changes, to a name holding the day of
// its lines (requests.jsonl -> requests-2026-11-24.jsonl), and rotated files
// are deleted once their day is `retentionDays` days ago (0 keeps them). A file
// left from an earlier day is rotated at the first flush. Writes hold an
// exclusive flock() on the file, so that erasure can rewrite it meanwhile.
class RequestLog
{
public:
    // Beyond `backlogBytes` of records waiting for a flush, lines are counted as lost instead.
    explicit RequestLog(int retentionDays = 0, int vendorId = 0, std::size_t backlogBytes = std::size_t(-1));
    ~RequestLog();

    bool open(const QString &path, QString *error);
    QString path() const { return path_; }

    // `path` decoded, `query` as sent.
    void record(std::string_view method, std::string_view path, std::string_view query, int status);
    void flush();
    // The next flush writes to a new file at the same path (after log rotation).
    void reopen() { reopenRequested_ = true; }
    qint64 linesLost() const { return linesLost_; }

    // Where a file of `day` (days since the epoch) goes when rotated; the day of such a name, or -1.
    static QString rotatedPath(const QString &path, std::int64_t day);
    static std::int64_t rotatedDay(const QString &path, const QString &fileName);

private:
    void appendLine(std::string &out, std::int64_t timeMs, int status, std::string_view method, std::string_view path,
                    std::string_view query);
    void rotateIfNewDay(std::int64_t today);
    void deleteExpired(std::int64_t today) const;
    void writeOut(std::string_view lines, qint64 count);

    const int retentionDays_;
    const std::size_t backlogBytes_;
    QString path_;
    std::atomic<bool> open_{false};
    std::mutex pendingMutex_;
    std::string pending_;  // records, each a PendingHead and its three texts
    qint64 pendingLines_ = 0;
    std::mutex fileMutex_;
    // Used under fileMutex_.
    JsonLine json_;
    ConsentFilter consent_;
    int fd_ = -1;
    std::int64_t fileDay_ = 0;
    bool rotating_ = false;
    bool failing_ = false;
    std::atomic<bool> reopenRequested_{false};
    std::atomic<qint64> linesLost_{0};
};
