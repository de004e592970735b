#pragma once

#include "TouchEvent.h"
#include "TouchPoint.h"
#include "PlatformExport.h"

#include <QObject>
#include <QPointer>
#include <QWidget>


namespace Velmora::Platform {

class ModalTransition;

/// A screen's controller: owns the screen's view, hears its appearance and
/// touches, and presents other screens modally on top of it.
///
/// View: view() creates it on first use through loadView() (default: an empty
/// 320 by 480 point widget; subclasses set up their Designer form there),
/// then calls viewDidLoad().
///
/// Modal presentation: the presented screen is put above the presenter in
/// the presenter view's parent (normally the window's screen); when the
/// transition ends the presenter's view is hidden, not destroyed, so its
/// timers and banners keep running, and held outside the window until it
/// comes back on top (CoveredViews). Appearance calls come in this order:
/// presenter viewWillDisappear, presented viewWillAppear, (animation),
/// presenter viewDidDisappear, presented viewDidAppear; dismissal mirrors it.
/// Without animation all four happen before the call returns.
///
/// Ownership: a presented controller without a QObject parent is owned by
/// the presentation: it becomes the presenter's child and is deleted (after
/// its transition) when dismissed.
///
/// Touches: mouse presses and drags, and real touch events, that reach the
/// view itself (not taken by a button or other interactive child) become
/// touchesBegan/Moved/Ended with locations in the view's points, held to
/// the screen (the view's window) as a finger is.
class VELMORAPLATFORM_EXPORT ViewController : public QObject
{
    Q_OBJECT
public:
    enum TransitionStyle { CoverVertical = 0, FlipHorizontal = 1, CrossDissolve = 2 };
    enum PresentationStyle { FullScreen = 0, PageSheet = 1, FormSheet = 2, CurrentContext = 3 };
    enum InterfaceOrientation {
        Portrait = 1,
        PortraitUpsideDown = 2,
        LandscapeRight = 3,
        LandscapeLeft = 4
    };

    static constexpr const char *kControllerProperty = "viewController";
    static constexpr int kScreenWidth = 320;
    static constexpr int kScreenHeight = 480;

    explicit ViewController(QObject *parent = nullptr);
    ~ViewController() override;

    QWidget *view();
    bool isViewLoaded() const { return view_ != nullptr; }
    /// The controller whose view the widget is, if any.
    static ViewController *controllerOfView(const QWidget *view);
    /// Adopts the widget as the view (the controller owns it from now on).
    void setView(QWidget *view);

    virtual void loadView();
    virtual void viewDidLoad() {}
    virtual void viewWillAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewWillDisappear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidDisappear(bool animated) { Q_UNUSED(animated) }
    /// Never sent by this platform; kept so subclasses can forward to it.
    virtual void didReceiveMemoryWarning() {}

    /// Ignored while this controller is already presenting, and for a
    /// controller that is already presented somewhere.
    void presentModalViewController(ViewController *controller, bool animated);
    /// On the presenter: dismisses what it presents (and anything stacked on
    /// that). On a presented controller without its own: asks its presenter.
    void dismissModalViewControllerAnimated(bool animated);

    /// The presenter of this controller, if it is presented.
    ViewController *parentViewController() const { return presenter_; }
    ViewController *modalViewController() const { return presented_; }

    TransitionStyle modalTransitionStyle() const { return transitionStyle_; }
    void setModalTransitionStyle(TransitionStyle style) { transitionStyle_ = style; }
    PresentationStyle modalPresentationStyle() const { return presentationStyle_; }
    void setModalPresentationStyle(PresentationStyle style) { presentationStyle_ = style; }

    /// Screens here are always upright.
    InterfaceOrientation interfaceOrientation() const { return Portrait; }
    virtual bool shouldAutorotateToInterfaceOrientation(InterfaceOrientation orientation)
    {
        return orientation == Portrait;
    }

    virtual void touchesBegan(const QList<TouchPoint> &touches, const TouchEvent &event);
    virtual void touchesMoved(const QList<TouchPoint> &touches, const TouchEvent &event);
    virtual void touchesEnded(const QList<TouchPoint> &touches, const TouchEvent &event);
    virtual void touchesCancelled(const QList<TouchPoint> &touches, const TouchEvent &event);

    /// A presentation or dismissal is being animated.
    bool isTransitioning() const;
    /// Ends a running animation now, with its closing calls; tests drive
    /// transitions deterministically with this.
    void finishTransition();

signals:
    /// A presentation or dismissal started by this controller has completed.
    void transitionFinished();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void runTransition(QWidget *host, QWidget *leaving, QWidget *arriving, TransitionStyle style,
                       bool presenting, bool animated, std::function<void()> done);
    void completeDismissal(ViewController *top, bool animated);
    bool deliverMouse(QEvent *event);
    bool deliverTouch(QEvent *event);
    QPointF onScreen(QPointF globalPosition) const;
    void dispatch(TouchPoint::Phase phase, const QList<TouchPoint> &touches, const TouchEvent &event);

    QPointer<QWidget> view_;
    QPointer<ViewController> presenter_;
    QPointer<ViewController> presented_;
    bool ownsPresented_ = false;
    QPointer<ModalTransition> transition_;
    TransitionStyle transitionStyle_ = CoverVertical;
    PresentationStyle presentationStyle_ = FullScreen;
    QPointF lastMouseLocation_;
};

}  // namespace Velmora::Platform
