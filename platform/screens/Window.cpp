#include "Window.h"

#include "Application.h"
#include "FramePacer.h"
#include "ViewController.h"

#include <QGuiApplication>
#include <QLabel>
#include <QTime>
#include <QTimer>
#include <algorithm>

namespace Velmora::Platform {

Window::Window(QWidget *parent) : QWidget(parent), content_(new QWidget(this)), statusBar_(new QLabel(this))
{
    setFixedSize(kWidth, kHeight);
    new FramePacer(this);
    setWindowTitle(QGuiApplication::applicationDisplayName());
    content_->setGeometry(rect());

    statusBar_->setGeometry(0, 0, kWidth, kStatusBarHeight);
    statusBar_->setAlignment(Qt::AlignCenter);
    statusBar_->setStyleSheet("background: black; color: white; font-weight: bold; font-size: 12px;");
    // A minute-granular clock; checking twice a minute keeps it at most 30 s late.
    auto *clock = new QTimer(statusBar_);
    connect(clock, &QTimer::timeout, this, &Window::updateClock);
    clock->start(30000);
    updateClock();
    statusBar_->setVisible(!Application::shared()->isStatusBarHidden());
}

Window::~Window()
{
    if (Application::shared()->keyWindow() == this)
        Application::shared()->setKeyWindow(nullptr);
}

// The window's first subview is its screen: like the phone, tell that view's
// controller it appears.
void Window::addSubview(QWidget *view)
{
    if (!view)
        return;
    ViewController *controller = content_->findChildren<QWidget *>(Qt::FindDirectChildrenOnly).isEmpty() ? ViewController::controllerOfView(view) : nullptr;
    if (controller)
        controller->viewWillAppear(false);
    view->setParent(content_);
    view->show();
    view->raise();
    if (controller)
        controller->viewDidAppear(false);
}

ViewController *Window::rootViewController() const
{
    return rootViewController_;
}

void Window::setRootViewController(ViewController *controller)
{
    if (rootViewController_ && rootViewController_->isViewLoaded())
        rootViewController_->view()->hide();
    rootViewController_ = controller;
    if (controller) {
        QWidget *view = controller->view();
        view->setGeometry(content_->rect());
        addSubview(view);
    }
}

void Window::makeKeyAndVisible()
{
    Application::shared()->setKeyWindow(this);
    show();
    activateWindow();
}

void Window::setStatusBarShown(bool shown)
{
    statusBar_->setVisible(shown);
    statusBar_->raise();
}

bool Window::isStatusBarShown() const
{
    return !statusBar_->isHidden();
}

QImage Window::grabScreen()
{
    return grab().toImage();
}

int Window::largestFittingScale(const QSize &available)
{
    return std::max(1, std::min(available.width() / kWidth, available.height() / kHeight));
}

void Window::updateClock()
{
    statusBar_->setText(QTime::currentTime().toString("h:mm"));
}

}  // namespace Velmora::Platform
