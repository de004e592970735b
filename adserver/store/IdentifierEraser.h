#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

class CountStore;

// Removes every trace of one identifier: each request log line holding it
// (the current file and the rotated ones) and each stored ad request. A trace
// is any JSON string equal to it, as name or value. Files are rewritten in
// place under the same flock() the server writes under, so a running server
// loses no line; its writes wait while the current file is rewritten.
class IdentifierEraser
{
public:
    explicit IdentifierEraser(const QString &identifier);

    struct Removed
    {
        qint64 lines = 0;
        int files = 0;  // the files that held any of them
    };
    // From the log at `logPath` and its rotated files; nothing, with the reason, when a file could not be rewritten.
    std::optional<Removed> eraseFromLog(const QString &logPath, QString *error) const;
    // The stored requests removed; nothing when the database could not be written.
    std::optional<qint64> eraseFromStore(CountStore &store) const;

private:
    std::optional<qint64> eraseFromFile(const QString &path, QString *error) const;

    QByteArray logText_;    // as the log's JSON lines write it
    QByteArray storeText_;  // as the stored parameters write it
};
