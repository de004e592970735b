#pragma once

#include <QHash>
#include <QPointer>
#include <memory>
#include <vector>

namespace Velmora::Platform {

class ModalTransition;
class ViewController;

// The screens presented one on another from one bottom screen, bottom
// first. A long session stacks hundreds of them, so the top and the
// transitions under way are kept here rather than found by walking the
// presenters' links. Kept beside the controllers, not in them, so the
// controller's layout stays as programs built against it know it.
class ScreenStack
{
public:
    // The stack the controller is on; null while it neither presents nor is presented.
    static ScreenStack *of(const ViewController *controller);
    // The top of the controller's stack; the controller itself while it is on none.
    static ViewController *topOf(ViewController *controller);
    // Puts `presented`, and whatever it presents, on top of the presenter's stack.
    static void push(ViewController *presenter, ViewController *presented);
    // Every screen above `screen` leaves its stack.
    static void popAbove(const ViewController *screen);
    // A controller going away: the screens above it make a stack of their own.
    static void remove(const ViewController *screen);

    // The topmost screen that is still there.
    ViewController *top() const;

    // The transition `owner` runs, presenting or dismissing.
    void addTransition(const ViewController *owner, ModalTransition *transition);
    // A transition on this stack that has not reached its end, if any.
    ModalTransition *runningTransition();
    // A transition's picture is still up, ended or not.
    bool hasTransition();

private:
    struct Place {
        std::shared_ptr<ScreenStack> stack;
        size_t index = 0;
    };
    struct Transition {
        const ViewController *owner;
        QPointer<ModalTransition> transition;
    };

    static QHash<const ViewController *, Place> &places();
    static std::shared_ptr<ScreenStack> started(ViewController *bottom);
    static void append(const std::shared_ptr<ScreenStack> &stack, ViewController *screen);
    void truncate(size_t size);
    void pruneTransitions();

    // Every screen here is alive: a controller leaves its stack as it is destroyed.
    std::vector<ViewController *> screens_;
    std::vector<Transition> transitions_;
};

}  // namespace Velmora::Platform
