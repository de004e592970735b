#pragma once

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QTimer>
#include <QUrlQuery>

// Appends one JSON line per request to a file. Lines are buffered and written
// on a short timer (or when the buffer grows), so logging costs no syscall per
// request under load.
class RequestLog : public QObject
{
    Q_OBJECT

public:
    static constexpr int flushIntervalMs = 200;
    static constexpr qsizetype flushThreshold = 256 * 1024;

    explicit RequestLog(QObject *parent = nullptr);
    ~RequestLog() override;

    bool open(const QString &path, QString *error);
    QString path() const { return file_.fileName(); }

    void record(const QByteArray &method, const QString &path, const QUrlQuery &query, int status);

public slots:
    void flush();

private:
    QFile file_;
    QByteArray buffer_;
    QTimer flushTimer_;
};
