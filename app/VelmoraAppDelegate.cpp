#include "VelmoraAppDelegate.h"

#include "Application.h"
#include "Autoplay.h"
#include "ScreenshotTour.h"
#include "VelmoraViewController.h"
#include "Window.h"
#include "ui_MainWindow.h"

#include <QApplication>
#include <QFile>

using namespace Velmora::Platform;

VelmoraAppDelegate::VelmoraAppDelegate()
{
    loadMainInterface();
}

VelmoraAppDelegate::~VelmoraAppDelegate() = default;

void VelmoraAppDelegate::loadMainInterface()
{
    QFile style(QStringLiteral(":/style/Velmora.qss"));
    if (style.open(QIODevice::ReadOnly))
        qApp->setStyleSheet(QString::fromUtf8(style.readAll()));
    // The game uses the whole screen.
    Application::shared()->setStatusBarHidden(true);

    window_ = std::make_unique<Window>();
    Ui::MainWindow().setupUi(window_.get());
    viewController_ = std::make_unique<VelmoraViewController>();
}

bool VelmoraAppDelegate::applicationDidFinishLaunchingWithOptions(Application *, const QVariantMap &)
{
    window_->addSubview(viewController_->view());
    window_->makeKeyAndVisible();

    const QString screenshotDirectory = ScreenshotTour::directoryOption(QCoreApplication::arguments());
    if (!screenshotDirectory.isEmpty()) {
        screenshotTour_ = std::make_unique<ScreenshotTour>(window_.get(), viewController_.get(), screenshotDirectory);
        screenshotTour_->start();
    }
    startAutoplay(QCoreApplication::arguments());
    return true;
}

void VelmoraAppDelegate::startAutoplay(const QStringList &arguments)
{
    const std::optional<int> rounds = Autoplay::roundsOption(arguments);
    if (!rounds)
        return;
    autoplay_ = std::make_unique<Autoplay>(window_.get(), viewController_.get(), *rounds,
                                           Autoplay::roundLimitOption(arguments));
    QObject::connect(autoplay_.get(), &Autoplay::finished, qApp, [] { QCoreApplication::exit(0); });
    autoplay_->start();
}
