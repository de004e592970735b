#include "View/BannerWindowController.h"

#include <QEvent>

using namespace Velmora::Platform;

BannerWindowController::BannerWindowController(QObject *parent) : ViewController(parent) {}

void BannerWindowController::loadView()
{
    auto *standIn = new QWidget;
    standIn->setAttribute(Qt::WA_TransparentForMouseEvents);
    standIn->resize(0, 0);
    setView(standIn);
}

void BannerWindowController::placeIn(QWidget *window)
{
    if (window == window_ || modalViewController())
        return;
    if (window_)
        window_->removeEventFilter(this);
    window_ = window;
    view()->setParent(window);
    if (window)
        window->installEventFilter(this);
}

bool BannerWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == window_ && event->type() == QEvent::Resize)
        coverWindow();
    return ViewController::eventFilter(watched, event);
}

void BannerWindowController::coverWindow()
{
    for (ViewController *screen = modalViewController(); screen; screen = screen->modalViewController()) {
        if (screen->isViewLoaded())
            screen->view()->setGeometry(window_->rect());
    }
}
