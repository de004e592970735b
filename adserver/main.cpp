#include "AdServer.h"
#include "ServerOptions.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {

int signalPipe[2];

// SIGINT and SIGTERM end the event loop normally, so the request log is flushed.
void quitOnSignals(QCoreApplication &app)
{
    if (pipe(signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    const auto handler = [](int) { [[maybe_unused]] auto n = ::write(signalPipe[1], "q", 1); };
    std::signal(SIGINT, handler);
    std::signal(SIGTERM, handler);
}

}  // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("velmora-adserver"));

    ServerOptions options;
    QString error;
    if (!options.parse(app.arguments(), &error)) {
        const bool help = app.arguments().contains(QStringLiteral("--help")) || app.arguments().contains(QStringLiteral("-h"));
        std::fprintf(help ? stdout : stderr, help ? "%s" : "velmora-adserver: %s\n", qPrintable(error));
        return help ? 0 : 2;
    }

    AdServer server(options);
    if (!server.start(&error)) {
        std::fprintf(stderr, "velmora-adserver: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("velmora-adserver: listening on %s (request log: %s)\n", server.baseUrl().constData(),
                qPrintable(options.logFile));
    std::fflush(stdout);

    quitOnSignals(app);
    return app.exec();
}
