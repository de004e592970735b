#pragma once

#include "store/JsonLine.h"

#include <QString>

#include <atomic>
#include <mutex>
#include <string>
#include <string_view>

// Appends one JSON line per request to a file. Any thread may record; what it
// records waits in memory, as sent, until the next flush (the group commit's,
// before each batch of counts), which decodes and formats the lines: logging
// costs a request one copy, no formatting and no system call. A failed write is reported once on
// standard error and its lines are counted as lost.
class RequestLog
{
public:
    RequestLog() = default;
    ~RequestLog();

    bool open(const QString &path, QString *error);
    QString path() const { return path_; }

    // `path` decoded, `query` as sent.
    void record(std::string_view method, std::string_view path, std::string_view query, int status);
    void flush();
    // The next flush writes to a new file at the same path (after log rotation).
    void reopen() { reopenRequested_ = true; }
    qint64 linesLost() const { return linesLost_; }

private:
    void writeOut(std::string_view lines, qint64 count);

    QString path_;
    std::atomic<bool> open_{false};
    std::mutex pendingMutex_;
    std::string pending_;  // records, each a PendingHead and its three texts
    qint64 pendingLines_ = 0;
    std::mutex fileMutex_;
    JsonLine json_;  // used under fileMutex_
    int fd_ = -1;
    bool failing_ = false;
    std::atomic<bool> reopenRequested_{false};
    std::atomic<qint64> linesLost_{0};
};
