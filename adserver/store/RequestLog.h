#pragma once

#include <QByteArray>
#include <QString>
#include <QUrlQuery>

#include <atomic>
#include <mutex>

// Appends one JSON line per request to a file. Any thread may record; lines
// wait in memory until the next flush (the batch writer's, every 100 ms), so
// logging costs no system call per request. A failed write is reported once on
// standard error and its lines are counted as lost.
class RequestLog
{
public:
    RequestLog() = default;
    ~RequestLog();

    bool open(const QString &path, QString *error);
    QString path() const { return path_; }

    void record(const QByteArray &method, const QString &path, const QUrlQuery &query, int status);
    void flush();
    // The next flush writes to a new file at the same path (after log rotation).
    void reopen() { reopenRequested_ = true; }
    qint64 linesLost() const { return linesLost_; }

private:
    void writeOut(const QByteArray &lines, qint64 count);

    QString path_;
    std::mutex pendingMutex_;
    QByteArray pending_;
    qint64 pendingLines_ = 0;
    std::mutex fileMutex_;
    int fd_ = -1;
    bool failing_ = false;
    std::atomic<bool> reopenRequested_{false};
    std::atomic<qint64> linesLost_{0};
};
