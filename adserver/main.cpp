#include "AdServer.h"
#include "ServerOptions.h"
#include "store/CountStore.h"
#include "store/IdentifierEraser.h"

#include <QCoreApplication>

#include <systemd/sd-daemon.h>

#include <csignal>
#include <cstdio>
#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>

namespace {

// Takes every descriptor the system allows, and keeps the connection limit
// below them: a connection beyond it is closed at once, while one beyond the
// descriptors would wait unanswered in the listen queue.
void fitConnectionsToDescriptors(ServerOptions &options)
{
    constexpr rlim_t reserved = 64;  // the log, the database, the site's files
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    const std::size_t fitting = limit.rlim_cur > 2 * reserved ? limit.rlim_cur - reserved : limit.rlim_cur / 2;
    if (options.limits.connections > fitting) {
        std::fprintf(stderr, "velmora-adserver: --max-connections lowered to %zu to fit %llu file descriptors\n", fitting,
                     static_cast<unsigned long long>(limit.rlim_cur));
        options.limits.connections = fitting;
    }
}

// Blocks above this size are mapped and unmapped on their own, so what many
// slow clients held goes back to the system when they go; left to itself,
// the allocator raises this bar after large frees and keeps such blocks.
void returnLargeBlocksToTheSystem()
{
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
}

// Blocked before any thread starts, so that every thread inherits the mask and
// only sigwait() below sees these signals.
sigset_t blockHandledSignals()
{
    sigset_t handled;
    sigemptyset(&handled);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&handled, signal);
    pthread_sigmask(SIG_BLOCK, &handled, nullptr);
    return handled;
}

// --erase-identifier: the log's lines and the stored requests that hold the id go; says how many.
int eraseIdentifier(const ServerOptions &options)
{
    const IdentifierEraser eraser(options.eraseIdentifier);
    QString error;
    IdentifierEraser::Removed lines;
    if (!options.logFile.isEmpty()) {
        const auto removed = eraser.eraseFromLog(options.logFile, &error);
        if (!removed) {
            std::fprintf(stderr, "velmora-adserver: %s\n", qPrintable(error));
            return 1;
        }
        lines = *removed;
    }
    qint64 rows = 0;
    if (!options.store.isEmpty()) {
        const std::unique_ptr<CountStore> store = CountStore::open(options.store, &error);
        const std::optional<qint64> erased = store ? eraser.eraseFromStore(*store) : std::nullopt;
        if (!erased) {
            std::fprintf(stderr, "velmora-adserver: cannot erase from the count database: %s\n",
                         qPrintable(store ? QStringLiteral("it takes no writes") : error));
            return 1;
        }
        rows = *erased;
    }
    std::printf("velmora-adserver: removed %lld lines from %d log files and %lld rows from the store\n",
                static_cast<long long>(lines.lines), lines.files, static_cast<long long>(rows));
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("velmora-adserver"));

    ServerOptions options;
    QString error;
    bool exitEarly = false;
    if (!options.parse(app.arguments(), &error, &exitEarly)) {
        std::fprintf(exitEarly ? stdout : stderr, exitEarly ? "%s" : "velmora-adserver: %s\n", qPrintable(error));
        return exitEarly ? 0 : 2;
    }
    if (!options.eraseIdentifier.isEmpty())
        return eraseIdentifier(options);

    fitConnectionsToDescriptors(options);
    returnLargeBlocksToTheSystem();
    const sigset_t handled = blockHandledSignals();
    AdServer server(options);
    if (!server.start(&error)) {
        std::fprintf(stderr, "velmora-adserver: %s\n", qPrintable(error));
        return 1;
    }
    const QByteArray links = server.baseUrl() == server.listeningUrl() ? QByteArray() : "links to " + server.baseUrl() + "; ";
    std::printf("velmora-adserver: listening on %s (%sadmin: %s; request log: %s)\n", server.listeningUrl().constData(),
                links.constData(), server.adminUrl().constData(), qPrintable(options.logFile));
    std::fflush(stdout);
    // Under systemd (Type=notify): listening, and the store is open.
    sd_notify(0, "READY=1");

    // SIGHUP reopens the log for log rotation; SIGINT and SIGTERM end the
    // server, and its destructor writes every line and count still pending.
    int signal = 0;
    while (sigwait(&handled, &signal) == 0 && signal == SIGHUP)
        server.reopenLog();
    sd_notify(0, "STOPPING=1");
    return 0;
}
