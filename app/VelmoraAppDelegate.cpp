#include "VelmoraAppDelegate.h"

#include "Application.h"
#include "ArcadeStyle.h"
#include "Autoplay.h"
#include "Privacy.h"
#include "PrivacyChoice.h"
#include "ScreenshotTour.h"
#include "VelmoraViewController.h"
#include "WebWindowSurface.h"
#include "Window.h"
#include "ui_MainWindow.h"

#include <QAction>
#include <QApplication>

using namespace Velmora::Platform;

VelmoraAppDelegate::VelmoraAppDelegate(GameOptions options) : options_(std::move(options))
{
    loadMainInterface();
}

VelmoraAppDelegate::~VelmoraAppDelegate() = default;

void VelmoraAppDelegate::loadMainInterface()
{
    QApplication::setStyle(new ArcadeStyle);
    QApplication::setFont(ArcadeStyle::applicationFont());
    // The game uses the whole screen.
    Application::shared()->setStatusBarHidden(true);

    window_ = std::make_unique<Window>();
    // Its banners' pages join it once it is on screen.
    WebWindowSurface::prepare(window_.get());
    Ui::MainWindow().setupUi(window_.get());
    addQuitShortcut();
    viewController_ = std::make_unique<VelmoraViewController>();
}

bool VelmoraAppDelegate::applicationDidFinishLaunchingWithOptions(Application *, const QVariantMap &)
{
    window_->addSubview(viewController_->view());
    window_->makeKeyAndVisible();
    settlePrivacy();

    if (!options_.screenshotDirectory().isEmpty()) {
        screenshotTour_ = std::make_unique<ScreenshotTour>(window_.get(), viewController_.get(),
                                                           options_.screenshotDirectory());
        screenshotTour_->start();
    }
    startAutoplay();
    return true;
}

// The command line's answer, else the player's kept one, else the question.
// The bot and the picture tour never wait for it: they run non-personalised.
void VelmoraAppDelegate::settlePrivacy()
{
    std::optional<bool> answer = options_.personalisedAds();
    if (!answer && (options_.autoplayRounds() || !options_.screenshotDirectory().isEmpty()))
        answer = false;
    if (!answer)
        answer = PrivacyChoice::stored();
    if (answer) {
        PrivacyChoice::apply(*answer);
        return;
    }
    auto *question = new Privacy;
    question->setAsking(true);
    viewController_->presentModalViewController(question, false);
}

void VelmoraAppDelegate::addQuitShortcut()
{
    auto *quit = new QAction(QObject::tr("Quit"), window_.get());
    // Ctrl+Q where the platform names no quit key (Windows, the headless platform).
    const QList<QKeySequence> keys = QKeySequence::keyBindings(QKeySequence::Quit);
    quit->setShortcuts(keys.isEmpty() ? QList<QKeySequence>{QKeySequence(Qt::CTRL | Qt::Key_Q)} : keys);
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    window_->addAction(quit);
}

void VelmoraAppDelegate::startAutoplay()
{
    const std::optional<int> rounds = options_.autoplayRounds();
    if (!rounds)
        return;
    autoplay_ = std::make_unique<Autoplay>(window_.get(), viewController_.get(), *rounds, options_.roundLimitSeconds());
    QObject::connect(autoplay_.get(), &Autoplay::finished, qApp, [] { QCoreApplication::exit(0); });
    autoplay_->start();
}
