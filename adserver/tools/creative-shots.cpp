// Renders each house creative at banner size with the web engine and saves
// it as a PNG: velmora-creative-shots OUTPUT_DIR [WWW_DIR]
#include "AdServer.h"
#include "routes/CreativeCatalogue.h"
#include "ServerOptions.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <QWebEngineView>

#include <cstdio>

namespace {

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return true;
}

void settle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

QImage render(const QUrl &url)
{
    QWebEngineView view;
    view.setAttribute(Qt::WA_DontShowOnScreen);
    view.resize(320, 50);
    view.show();
    bool loaded = false;
    QObject::connect(&view, &QWebEngineView::loadFinished, [&](bool ok) { loaded = ok; });
    view.load(url);
    if (!waitFor([&] { return loaded; }, 30000))
        return {};
    settle(1500);  // let the compositor paint the first frame
    return view.grab().toImage();
}

}  // namespace

int main(int argc, char **argv)
{
    qputenv("QTWEBENGINE_CHROMIUM_FLAGS", qgetenv("QTWEBENGINE_CHROMIUM_FLAGS") + " --disable-gpu");
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: velmora-creative-shots OUTPUT_DIR [WWW_DIR]\n");
        return 2;
    }
    const QString outputDir = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(outputDir);

    QTemporaryDir logDir;
    ServerOptions options;
    options.port = 0;
    options.wwwDir = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral(VELMORA_ADSERVER_WWW);
    options.logFile = logDir.filePath(QStringLiteral("requests.jsonl"));
    AdServer server(options);
    QString error;
    CreativeCatalogue catalogue;
    if (!server.start(&error) || !catalogue.load(options.wwwDir, &error)) {
        std::fprintf(stderr, "velmora-creative-shots: %s\n", qPrintable(error));
        return 1;
    }

    int failures = 0;
    for (const QString &id : catalogue.ids()) {
        if (!catalogue.find(id)->inRotation)
            continue;
        const QUrl url(QString::fromLatin1(server.baseUrl()) + QStringLiteral("/page/%1?unit=%2&rid=1").arg(id, ServerOptions::gameAdUnit));
        const QImage image = render(url);
        const QString file = QDir(outputDir).filePath(QStringLiteral("creative-%1.png").arg(id));
        if (image.isNull() || !image.save(file)) {
            std::fprintf(stderr, "velmora-creative-shots: could not render %s\n", qPrintable(id));
            ++failures;
            continue;
        }
        std::printf("%s (%dx%d)\n", qPrintable(file), image.width(), image.height());
    }
    return failures == 0 ? 0 : 1;
}
