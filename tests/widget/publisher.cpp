// A publisher's program: a window with a text editor and a banner in a
// layout, no view controller, nothing but the installed headers. Without
// arguments it shows an ad, taps it, closes the browser the tap opens and
// quits. With an exit shape it keeps its banner the way that shape says and
// quits once the ad is shown, so the way out can be judged.
//   publisher [stack | heap | leaked | closed-window | deleted-dialog | screen-at-quit | window-id]
// Each event goes to standard output on a line of its own.
#include <VelmoraAds/BannerWidget.h>

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineView>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

using Velmora::Ads::BannerWidget;

namespace {

constexpr int kGiveUpMs = 40000;
const char *const kAdUnit = "a1f3c29b07d5e64";

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void report(BannerWidget *banner)
{
    QObject::connect(banner, &BannerWidget::adReceived, [] { say("adReceived"); });
    QObject::connect(banner, &BannerWidget::adFailed, [](BannerWidget::Failure code, const QString &message) {
        say(QStringLiteral("adFailed %1 %2").arg(int(code)).arg(message));
    });
    QObject::connect(banner, &BannerWidget::screenWillPresent, [] { say("screenWillPresent"); });
    QObject::connect(banner, &BannerWidget::screenWillDismiss, [] { say("screenWillDismiss"); });
    QObject::connect(banner, &BannerWidget::screenDidDismiss, [] { say("screenDidDismiss"); });
    QObject::connect(banner, &BannerWidget::willLeaveApplication, [] { say("willLeaveApplication"); });
}

BannerWidget *makeBanner(QWidget *parent = nullptr)
{
    auto *banner = new BannerWidget(parent);
    banner->setAdUnitId(QString::fromLatin1(kAdUnit));
    report(banner);
    return banner;
}

// The notes window: the banner under the editor, as wide as the layout.
struct NotesWindow
{
    NotesWindow()
    {
        auto *central = new QWidget;
        auto *layout = new QVBoxLayout(central);
        layout->addWidget(new QPlainTextEdit);
        banner = makeBanner();
        layout->addWidget(banner);
        window.setCentralWidget(central);
        window.resize(480, 360);
        window.show();
        banner->load();
    }

    QMainWindow window;
    BannerWidget *banner;
};

// A player's tap: the press the library sees, and the click the page sees
// (the engine takes no synthetic input without a graphics backend).
void tap(BannerWidget *banner)
{
    auto *page = banner->findChild<QWebEngineView *>();
    QWidget *surface = page->focusProxy() ? page->focusProxy() : page;
    QTest::mousePress(surface, Qt::LeftButton, {}, surface->rect().center());
    page->page()->runJavaScript(QStringLiteral("document.getElementById('ad').click();"));
}

void onceShown(BannerWidget *banner, std::function<void()> then)
{
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = QObject::connect(banner, &BannerWidget::adReceived, banner, [connection, then] {
        QObject::disconnect(*connection);
        then();
    });
}

void quitSoon()
{
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
}

int tapAndCloseTheBrowser()
{
    NotesWindow notes;
    onceShown(notes.banner, [&] {
        const QWidget *area = notes.window.centralWidget();
        const int layoutWidth = area->contentsRect().width() - area->layout()->contentsMargins().left()
                                - area->layout()->contentsMargins().right();
        say(QStringLiteral("banner %1x%2 in a layout %3 wide")
                .arg(notes.banner->width()).arg(notes.banner->height()).arg(layoutWidth));
        tap(notes.banner);
    });
    QObject::connect(notes.banner, &BannerWidget::screenWillPresent, [&] {
        // Closed once the browser is up and covers the window.
        auto *poll = new QTimer(&notes.window);
        QObject::connect(poll, &QTimer::timeout, [&, poll] {
            QAction *done = notes.window.findChild<QAction *>(QStringLiteral("Done"));
            const auto *toolbar = done ? qobject_cast<QWidget *>(done->parent()) : nullptr;
            // The browser takes input once it has finished coming up.
            if (!toolbar || !toolbar->isEnabled() || !toolbar->isVisible())
                return;
            const QWidget *screen = toolbar->window();
            poll->stop();
            say(QStringLiteral("browser over the window: %1").arg(screen == &notes.window ? "yes" : "no"));
            done->trigger();
        });
        poll->start(100);
    });
    QObject::connect(notes.banner, &BannerWidget::screenDidDismiss, &quitSoon);
    return qApp->exec();
}

int exitShape(const QString &shape)
{
    if (shape == QLatin1String("stack")) {
        BannerWidget banner;
        report(&banner);
        banner.setAdUnitId(QString::fromLatin1(kAdUnit));
        banner.show();
        banner.load();
        onceShown(&banner, &quitSoon);
        return qApp->exec();
    }
    if (shape == QLatin1String("heap") || shape == QLatin1String("leaked")) {
        // A leaked banner is one the program still points at, never deleted.
        static BannerWidget *banner = nullptr;
        banner = makeBanner();
        banner->show();
        banner->load();
        onceShown(banner, &quitSoon);
        const int status = qApp->exec();
        if (shape == QLatin1String("heap"))
            delete banner;
        return status;
    }
    if (shape == QLatin1String("closed-window")) {
        NotesWindow notes;
        onceShown(notes.banner, [&] { notes.window.close(); });
        return qApp->exec();
    }
    if (shape == QLatin1String("deleted-dialog")) {
        auto *dialog = new QDialog;
        auto *layout = new QVBoxLayout(dialog);
        BannerWidget *banner = makeBanner();
        layout->addWidget(banner);
        dialog->show();
        banner->load();
        onceShown(banner, [dialog] {
            delete dialog;
            quitSoon();
        });
        return qApp->exec();
    }
    if (shape == QLatin1String("screen-at-quit")) {
        NotesWindow notes;
        onceShown(notes.banner, [&] { tap(notes.banner); });
        QObject::connect(notes.banner, &BannerWidget::screenWillPresent, [] { QTimer::singleShot(1500, qApp, &QCoreApplication::quit); });
        return qApp->exec();
    }
    if (shape == QLatin1String("window-id")) {
        NotesWindow notes;
        const WId shownAs = notes.window.winId();
        onceShown(notes.banner, [&] {
            // Long enough for the page's surface to have joined the window.
            QTimer::singleShot(1500, [&] {
                say(QStringLiteral("window id %1").arg(notes.window.winId() == shownAs ? "kept" : "changed"));
                quitSoon();
            });
        });
        return qApp->exec();
    }
    say("unknown shape " + shape);
    return 2;
}

}  // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QTimer::singleShot(kGiveUpMs, [] {
        say("gave up");
        std::exit(3);
    });
    const QStringList arguments = app.arguments();
    return arguments.size() > 1 ? exitShape(arguments[1]) : tapAndCloseTheBrowser();
}
