#pragma once

#include "Network/TSKCachedFile.h"
#include "Network/TSKCachedFileDelegate.h"
#include "Network/TSKClickTracker.h"

#include <QFileInfo>
#include <QHttpServer>
#include <QHttpServerResponder>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>
#include <functional>

// A scripted HTTP server on 127.0.0.1 and an ephemeral port: a handler per
// path, 404 elsewhere, every request recorded with its headers. respond()
// adds Content-Length.
class HttpTestServer
{
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;
    using Handler = std::function<void(const QHttpServerRequest &, QHttpServerResponder &)>;
    struct Request {
        QString path;
        QUrlQuery query;
        QHash<QByteArray, QByteArray> headers;  // lower-case names
        QByteArray header(const QByteArray &name) const { return headers.value(name.toLower()); }
    };

    HttpTestServer();
    QUrl url(const QString &pathAndQuery) const { return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(pathAndQuery)); }
    void on(const QString &path, Handler handler) { handlers_.insert(path, std::move(handler)); }
    void reply(const QString &path, int status, const Headers &headers = {}, const QByteArray &body = {})
    {
        on(path, [=](const QHttpServerRequest &, QHttpServerResponder &responder) { respond(responder, status, headers, body); });
    }
    void redirect(const QString &path, const QString &location) { reply(path, 302, {{"Location", location.toUtf8()}}); }
    // A 200 that promises a long body and sends one byte of it per interval.
    void drip(const QString &path, int intervalMs);
    void refuseConnections() { for (QTcpServer *listener : server_.servers()) listener->close(); }
    QList<Request> requestsTo(const QString &path) const
    {
        QList<Request> matching = requests_;
        matching.removeIf([&](const Request &request) { return request.path != path; });
        return matching;
    }
    static void respond(QHttpServerResponder &responder, int status, const Headers &headers, const QByteArray &body);

private:
    QHttpServer server_;
    quint16 port_ = 0;
    QHash<QString, Handler> handlers_;
    QList<Request> requests_;
};

// A real nginx on 127.0.0.1 serving a temporary document root, in the
// foreground without a master process so it runs as any user.
class NginxServer
{
public:
    ~NginxServer()
    {
        process_.kill();
        process_.waitForFinished(10000);
    }
    QString start();  // null when running, otherwise what went wrong
    QString documentRoot() const { return prefix_.filePath("www"); }
    QUrl url(const QString &path) const { return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port_).arg(path)); }

private:
    QTemporaryDir prefix_;
    quint16 port_ = 0;
    QProcess process_;
};

// Writes down what a cached file reports and refuses one redirect target.
class CachedFileRecorder : public TSKCachedFileDelegate
{
public:
    void cachedFileDownloadDidEnd(TSKCachedFile *) override { ++ended; }
    void cachedFileDownloadDidFail(TSKCachedFile *, const std::optional<Velmora::Platform::Error> &error) override { failures.append(error); }
    std::optional<Velmora::Platform::Error> cachedFileShouldRedirectToURL(TSKCachedFile *, const QUrl &url) override
    {
        return url == refusedURL ? std::optional<Velmora::Platform::Error>(refusal) : std::nullopt;
    }
    int endings() const { return ended + int(failures.size()); }

    int ended = 0;
    QList<std::optional<Velmora::Platform::Error>> failures;
    QUrl refusedURL;
    Velmora::Platform::Error refusal{QStringLiteral("TestDomain"), 7, {}};
};

// Hears a click tracker's two reports and can act inside them.
class TrackerRecorder : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void trackerDidRedirect(TSKClickTracker *, const QUrl &url) { redirects.append(url); reported(); }
    Q_INVOKABLE void trackerDidFailWithError(TSKClickTracker *, const std::optional<Velmora::Platform::Error> &error) { failures.append(error); reported(); }
    int reports() const { return int(redirects.size() + failures.size()); }
    void reported() { if (onReport) onReport(); }

    QList<QUrl> redirects;
    QList<std::optional<Velmora::Platform::Error>> failures;
    std::function<void()> onReport;
};

// Generous, since the machine running the tests may be busy.
template <typename Done>
bool waitFor(Done done) { return QTest::qWaitFor(done, 20000); }

inline QDateTime fileTime(const QString &path) { return QFileInfo(path).fileTime(QFileDevice::FileModificationTime).toUTC(); }

// Run one download or tracking to its next report.
inline bool fetch(TSKCachedFile &file, CachedFileRecorder &recorder)
{
    const int before = recorder.endings();
    file.validate();
    return waitFor([&] { return recorder.endings() > before; });
}
inline bool track(TSKClickTracker &tracker, TrackerRecorder &recorder, const QUrl &url)
{
    const int before = recorder.reports();
    tracker.trackURL(url);
    return waitFor([&] { return recorder.reports() > before; });
}

// A full exchange with the server: reports queued before it have run once it
// ends, so a missing or second report shows by then.
inline bool roundTrip(HttpTestServer &server)
{
    CachedFileRecorder recorder;
    TSKCachedFile barrier(&recorder, server.url("/barrier"));
    return fetch(barrier, recorder);
}
