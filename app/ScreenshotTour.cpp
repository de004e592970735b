#include "Application.h"
#include "Browser/TSKBrowserController.h"
#include "MailComposeViewController.h"
#include "Opener/TSKOpener.h"
#include <VelmoraAds/TSKBannerView.h>
#include "WebApp/TSKWebAppViewController.h"
#include "WebView.h"
#include "ScreenshotTour.h"

#include "About.h"
#include "Autopilot.h"
#include "Instructions.h"
#include "Privacy.h"
#include "Random.h"
#include "Touch.h"
#include "VelmoraViewController.h"
#include "ViewGeometry.h"
#include "Window.h"

#include <QDeadlineTimer>
#include <QMouseEvent>
#include <cstdio>
#include <QCoreApplication>
#include <QDir>
#include <QTimer>

using namespace Velmora::Platform;

namespace {

constexpr int kTicksPerSecond = 20;
constexpr int kSecondsPlayed = 21;
constexpr int kBannerWaitMs = 5000;
constexpr int kBannerPaintMs = 400;
constexpr int kAdPaintMs = 800;

void spinUntil(const std::function<bool()> &done, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// Fixed seed: the same balls and pick-ups on every run.
uint32_t nextRandom()
{
    static uint32_t state = 0x5eed1234;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

void playRound(Touch *round)
{
    Autopilot pilot(round);
    pilot.startRound();
    for (int tick = 1; tick <= kSecondsPlayed * kTicksPerSecond; ++tick) {
        pilot.steer();
        round->onTimer();
        if (tick % kTicksPerSecond == 0) {
            round->tick();
            round->randomMainVoid();
        }
    }
    round->showPlus();
    round->showMinus();
    round->showBall();
}

void endRound(Touch *round)
{
    QWidget *player = round->view()->findChild<QWidget *>(QStringLiteral("one"));
    round->balls().first().setCenter(ViewGeometry::center(player));
    round->onTimer();
}

}  // namespace

ScreenshotTour::ScreenshotTour(Window *window, VelmoraViewController *menu, QString directory)
    : window_(window)
    , menu_(menu)
    , directory_(std::move(directory))
{
}

void ScreenshotTour::start()
{
    QTimer::singleShot(0, this, &ScreenshotTour::run);
}

void ScreenshotTour::run()
{
    Random::setSource(nextRandom);
    // A picture tour leaves nothing to other programs.
    Application::shared()->setUrlOpener([](const QUrl &url) {
        std::fprintf(stderr, "velmora: the tour does not open %s\n", qPrintable(url.toString()));
        return true;
    });
    bool saved = QDir().mkpath(directory_) && save(QStringLiteral("menu"));
    saved = tapAd(menu_) && saved;

    menu_->instructions();
    menu_->finishTransition();
    saved = save(QStringLiteral("instructions")) && saved;
    saved = tapAd(menu_->modalViewController()) && saved;
    qobject_cast<Instructions *>(menu_->modalViewController())->back();
    menu_->finishTransition();

    menu_->about();
    menu_->finishTransition();
    saved = save(QStringLiteral("about")) && saved;
    qobject_cast<About *>(menu_->modalViewController())->back();
    menu_->finishTransition();
    saved = showPrivacy() && saved;
    waitForBanners();
    saved = tapAd(menu_) && saved;

    menu_->menu();
    menu_->finishTransition();
    auto *round = qobject_cast<Touch *>(menu_->modalViewController());
    saved = save(QStringLiteral("start")) && saved;
    saved = tapAd(round) && saved;
    playRound(round);
    // The round's own timers run from here: its banner, awaited at the start,
    // is not awaited again, or a banner that never comes would end the round.
    spinUntil([] { return false; }, kBannerPaintMs);
    saved = grab(QStringLiteral("play")) && saved;
    endRound(round);
    round->finishTransition();
    saved = save(QStringLiteral("game-over")) && saved;
    saved = tapAd(round->modalViewController()) && saved;
    saved = showMailComposer(round->modalViewController()) && saved;

    QCoreApplication::exit(saved ? 0 : 1);
}

// The first launch's question, then the menu's screen.
bool ScreenshotTour::showPrivacy()
{
    auto *question = new Privacy;
    question->setAsking(true);
    menu_->presentModalViewController(question, false);
    bool saved = save(QStringLiteral("privacy-question"));
    question->back();
    menu_->finishTransition();
    menu_->privacy();
    menu_->finishTransition();
    saved = save(QStringLiteral("privacy")) && saved;
    qobject_cast<Privacy *>(menu_->modalViewController())->back();
    menu_->finishTransition();
    return saved;
}

// Taps the screen's newest banner like a player and pictures what opens,
// named by its kind: the in-app browser (while loading, then loaded), the web
// app screen or the mail composer. Then closes it.
bool ScreenshotTour::tapAd(ViewController *screen)
{
    const QList<TSKBannerView *> banners = screen->view()->findChildren<TSKBannerView *>();
    if (banners.isEmpty())
        return true;
    // The press the library looks for, and the click the page acts on.
    WebView *ad = banners.last()->webView();
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(160, 25), QPointF(160, 25), Qt::LeftButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(ad, &press);
    ad->evaluateJavaScript(QStringLiteral("document.getElementById('ad').click();"));
    // Caught as it arrives, so a page is still loading in it.
    spinUntil([screen] { return screen->modalViewController(); }, kBannerWaitMs);
    screen->finishTransition();
    ViewController *shown = screen->modalViewController();
    bool saved = true;
    if (auto *browser = qobject_cast<TSKBrowserController *>(shown)) {
        saved = grab(QStringLiteral("ad-browser-loading"));
        spinUntil([browser] { return !browser->webView()->isLoading(); }, kBannerWaitMs);
        spinUntil([] { return false; }, kAdPaintMs);
        saved = save(QStringLiteral("ad-browser")) && saved;
        browser->relinquishScreen();
    } else if (auto *webApp = qobject_cast<TSKWebAppViewController *>(shown)) {
        spinUntil([webApp] { return !webApp->webView()->isLoading(); }, kBannerWaitMs);
        spinUntil([] { return false; }, kAdPaintMs);
        saved = save(QStringLiteral("ad-webapp"));
        webApp->relinquishScreen();
    } else if (auto *mail = qobject_cast<MailComposeViewController *>(shown)) {
        saved = save(QStringLiteral("ad-mail"));
        mail->cancel();
    }
    screen->finishTransition();
    spinUntil([screen] { return !screen->modalViewController(); }, kBannerWaitMs);
    return saved;
}

// The house mail ad's composer, as its tap opens it (the ads on screen take
// turns, so the tour may not meet that ad itself).
bool ScreenshotTour::showMailComposer(ViewController *screen)
{
    TSKOpener opener;
    opener.setViewController(screen);
    opener.openEmailComposer(QUrl(QStringLiteral(
        "mailto:?subject=Can%20you%20beat%20me%20at%20Velmora%3F&body=Drag%20your%20ball%2C%20dodge%20the%20yellow%20ones.")));
    screen->finishTransition();
    auto *mail = qobject_cast<MailComposeViewController *>(screen->modalViewController());
    if (!mail)
        return false;
    const bool saved = save(QStringLiteral("ad-mail"));
    mail->cancel();
    screen->finishTransition();
    return saved;
}

// A screen is pictured with its live ad, as a player sees it: wait until the
// ads on view have arrived and been painted (or the ad server is clearly away).
void ScreenshotTour::waitForBanners()
{
    const auto arrived = [this] {
        for (const TSKBannerView *banner : window_->findChildren<TSKBannerView *>()) {
            const WebView *ad = banner->webView();
            if (banner->isVisibleTo(window_) && (!ad || !ad->isVisibleTo(window_)))
                return false;
        }
        return true;
    };
    spinUntil(arrived, kBannerWaitMs);
    spinUntil([] { return false; }, kBannerPaintMs);
}

bool ScreenshotTour::save(const QString &name)
{
    waitForBanners();
    return grab(name);
}

bool ScreenshotTour::grab(const QString &name)
{
    const QString path = QDir(directory_).filePath(name + QStringLiteral(".png"));
    if (window_->grabScreen().save(path))
        return true;
    qWarning("velmora: cannot write %s", qPrintable(path));
    return false;
}
