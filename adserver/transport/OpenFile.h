#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <memory>
#include <optional>

// A regular file opened for reading, checked by where the open descriptor
// really lives: a link swapped after the check cannot point it elsewhere.
class OpenFile
{
public:
    // Nothing unless `path` opens as a regular file lying inside `root`
    // (a canonical directory path).
    static std::shared_ptr<const OpenFile> openInside(const QString &path, const QString &root);

    ~OpenFile();
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    int descriptor() const { return fd_; }
    qint64 size() const { return size_; }
    QDateTime lastModified() const { return lastModified_; }

private:
    OpenFile(int fd, qint64 size, const QDateTime &lastModified);

    int fd_;
    qint64 size_;
    QDateTime lastModified_;
};
