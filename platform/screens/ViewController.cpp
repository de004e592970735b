#include "ViewController.h"

#include "CoveredViews.h"
#include "ModalTransition.h"
#include "ScreenStack.h"

#include <QMouseEvent>
#include <QTouchEvent>

namespace Velmora::Platform {

ViewController::ViewController(QObject *parent) : QObject(parent) {}

ViewController::~ViewController()
{
    ScreenStack::remove(this);
    // A transition still running must not call back into a half-destroyed controller.
    delete transition_;
    delete view_;
}

QWidget *ViewController::view()
{
    if (!view_) {
        loadView();
        if (!view_)  // a subclass that forgot to set one still gets a screen
            ViewController::loadView();
        viewDidLoad();
    }
    return view_;
}

ViewController *ViewController::controllerOfView(const QWidget *view)
{
    return view ? qobject_cast<ViewController *>(view->property(kControllerProperty).value<QObject *>()) : nullptr;
}

void ViewController::setView(QWidget *view)
{
    if (view == view_)
        return;
    if (view_)
        view_->removeEventFilter(this);
    view_ = view;
    if (view_) {
        view_->installEventFilter(this);
        view_->setAttribute(Qt::WA_AcceptTouchEvents);
        view_->setProperty(kControllerProperty, QVariant::fromValue<QObject *>(this));
    }
}

void ViewController::loadView()
{
    auto *view = new QWidget;
    view->resize(kScreenWidth, kScreenHeight);
    setView(view);
}

void ViewController::presentModalViewController(ViewController *controller, bool animated)
{
    // Checked first: a refused presentation (a covered screen asking again)
    // must not cut short the animation on top of the stack.
    if (!controller || controller == this || presented_ || controller->presenter_)
        return;
    finishTransition();

    presented_ = controller;
    controller->presenter_ = this;
    ScreenStack::push(this, controller);
    ownsPresented_ = controller->parent() == nullptr;
    if (ownsPresented_)
        controller->setParent(this);

    QWidget *leaving = view();
    QWidget *arriving = controller->view();
    viewWillDisappear(animated);
    controller->viewWillAppear(animated);

    QPointer<ViewController> presented(controller);
    runTransition(leaving->parentWidget(), leaving, arriving, controller->modalTransitionStyle(),
                  true, animated, [this, presented, leaving = QPointer<QWidget>(leaving), animated] {
                      if (leaving)
                          CoveredViews::hold(leaving);
                      viewDidDisappear(animated);
                      if (presented)
                          presented->viewDidAppear(animated);
                      emit transitionFinished();
                  });
}

void ViewController::dismissModalViewControllerAnimated(bool animated)
{
    finishTransition();
    if (!presented_) {
        if (presenter_)
            presenter_->dismissModalViewControllerAnimated(animated);
        return;
    }

    ViewController *top = ScreenStack::topOf(this);
    QWidget *leaving = top->view();
    QWidget *arriving = view();
    QWidget *host = CoveredViews::putBack(arriving, leaving);
    top->viewWillDisappear(animated);
    viewWillAppear(animated);

    const TransitionStyle style = presented_->modalTransitionStyle();
    runTransition(host, leaving, arriving, style, false, animated,
                  [this, top = QPointer<ViewController>(top), animated] {
                      completeDismissal(top, animated);
                  });
}

void ViewController::completeDismissal(ViewController *top, bool animated)
{
    // Take the whole stack above us off the screen, top first.
    QPointer<ViewController> dismissed = presented_;
    const bool owned = ownsPresented_;
    for (ViewController *c = presented_; c; c = c->presented_) {
        if (c->view_) {
            CoveredViews::release(c->view_);
            c->view_->hide();
            c->view_->setParent(nullptr);
        }
    }
    for (ViewController *c = presented_; c;) {
        ViewController *next = c->presented_;
        c->presenter_ = nullptr;
        c->presented_ = nullptr;
        c = next;
    }
    presented_ = nullptr;
    ownsPresented_ = false;
    ScreenStack::popAbove(this);

    if (top)
        top->viewDidDisappear(animated);
    viewDidAppear(animated);
    if (owned && dismissed)
        dismissed->deleteLater();
    emit transitionFinished();
}

void ViewController::runTransition(QWidget *host, QWidget *leaving, QWidget *arriving, TransitionStyle style,
                                   bool presenting, bool animated, std::function<void()> done)
{
    const bool visible = host != nullptr;
    const QPixmap leavingShot = animated && visible ? leaving->grab() : QPixmap();
    if (visible) {
        if (presenting) {
            arriving->setParent(host);
            arriving->setGeometry(host->rect());
            arriving->raise();
        }
        arriving->show();
    }
    if (!animated || !visible) {
        done();
        return;
    }
    transition_ = new ModalTransition(
        host, leavingShot, arriving->grab(), style,
        presenting ? ModalTransition::Presenting : ModalTransition::Dismissing, std::move(done));
    if (ScreenStack *stack = ScreenStack::of(this))
        stack->addTransition(this, transition_);
}

bool ViewController::isTransitioning() const
{
    return !transition_.isNull();
}

// Settles every transition on this stack, so views and links are in place;
// closing calls that start another transition get theirs settled too.
void ViewController::finishTransition()
{
    while (ScreenStack *stack = ScreenStack::of(this)) {
        ModalTransition *running = stack->runningTransition();
        if (!running)
            return;
        running->finish();
    }
}

void ViewController::touchesBegan(const QList<TouchPoint> &, const TouchEvent &) {}
void ViewController::touchesMoved(const QList<TouchPoint> &, const TouchEvent &) {}
void ViewController::touchesEnded(const QList<TouchPoint> &, const TouchEvent &) {}
void ViewController::touchesCancelled(const QList<TouchPoint> &, const TouchEvent &) {}

bool ViewController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != view_)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
        return deliverMouse(event);
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
        return deliverTouch(event);
    default:
        return false;
    }
}

bool ViewController::deliverMouse(QEvent *event)
{
    auto *mouse = static_cast<QMouseEvent *>(event);
    // Touch screens are handled as touches; their synthesized mouse events would repeat them.
    if (mouse->source() == Qt::MouseEventSynthesizedByQt)
        return false;
    TouchPoint::Phase phase;
    if (event->type() == QEvent::MouseMove)
        phase = TouchPoint::Moved;
    else if (event->type() == QEvent::MouseButtonRelease)
        phase = TouchPoint::Ended;
    else
        phase = TouchPoint::Began;
    const bool leftInvolved = phase == TouchPoint::Moved ? mouse->buttons().testFlag(Qt::LeftButton)
                                                         : mouse->button() == Qt::LeftButton;
    if (!leftInvolved)
        return false;

    const QPointF location = onScreen(mouse->globalPosition());
    const QPointF previous = phase == TouchPoint::Began ? location : lastMouseLocation_;
    lastMouseLocation_ = location;
    const double timestamp = mouse->timestamp() / 1000.0;
    const int taps = event->type() == QEvent::MouseButtonDblClick ? 2 : 1;
    const TouchPoint touch(view_, location, previous, phase, taps, timestamp);
    dispatch(phase, {touch}, TouchEvent({touch}, timestamp));
    event->accept();
    return true;
}

bool ViewController::deliverTouch(QEvent *event)
{
    auto *touchEvent = static_cast<QTouchEvent *>(event);
    if (event->type() == QEvent::TouchBegin && !touchEvent->points().isEmpty()) {
        // Leave a touch that starts on a button (or anything else that takes
        // input) to that widget, as a mouse click.
        const QPoint at = view_->mapFromGlobal(touchEvent->points().first().globalPosition()).toPoint();
        const QWidget *child = view_->childAt(at);
        if (child && child->focusPolicy() != Qt::NoFocus) {
            event->ignore();
            return false;
        }
    }

    const double timestamp = touchEvent->timestamp() / 1000.0;
    QList<TouchPoint> all, began, moved, ended;
    for (const QEventPoint &point : touchEvent->points()) {
        TouchPoint::Phase phase = TouchPoint::Stationary;
        if (event->type() == QEvent::TouchCancel)
            phase = TouchPoint::Cancelled;
        else if (point.state() == QEventPoint::Pressed)
            phase = TouchPoint::Began;
        else if (point.state() == QEventPoint::Updated)
            phase = TouchPoint::Moved;
        else if (point.state() == QEventPoint::Released)
            phase = TouchPoint::Ended;
        const TouchPoint touch(view_, onScreen(point.globalPosition()), onScreen(point.globalLastPosition()),
                               phase, 1, timestamp);
        all.append(touch);
        if (phase == TouchPoint::Began)
            began.append(touch);
        else if (phase == TouchPoint::Moved)
            moved.append(touch);
        else if (phase == TouchPoint::Ended || phase == TouchPoint::Cancelled)
            ended.append(touch);
    }
    const TouchEvent touches(all, timestamp);
    if (!began.isEmpty())
        dispatch(TouchPoint::Began, began, touches);
    if (!moved.isEmpty())
        dispatch(TouchPoint::Moved, moved, touches);
    if (!ended.isEmpty())
        dispatch(event->type() == QEvent::TouchCancel ? TouchPoint::Cancelled : TouchPoint::Ended,
                 ended, touches);
    event->accept();
    return true;
}

// A finger cannot leave the screen: a drag past the window's edge stays on its border.
QPointF ViewController::onScreen(QPointF globalPosition) const
{
    const QWidget *screen = view_->window();
    const QPointF inScreen = screen->mapFromGlobal(globalPosition);
    const QPointF clamped(qBound(0.0, inScreen.x(), double(screen->width())),
                          qBound(0.0, inScreen.y(), double(screen->height())));
    return view_->mapFrom(screen, clamped);
}

void ViewController::dispatch(TouchPoint::Phase phase, const QList<TouchPoint> &touches,
                              const TouchEvent &event)
{
    switch (phase) {
    case TouchPoint::Began:
        touchesBegan(touches, event);
        break;
    case TouchPoint::Moved:
        touchesMoved(touches, event);
        break;
    case TouchPoint::Ended:
        touchesEnded(touches, event);
        break;
    case TouchPoint::Cancelled:
        touchesCancelled(touches, event);
        break;
    case TouchPoint::Stationary:
        break;
    }
}

}  // namespace Velmora::Platform
