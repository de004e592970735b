#include "ScreenStack.h"

#include "ModalTransition.h"

#include <algorithm>

namespace Velmora::Platform {

// Never destroyed: a controller that outlives the program's statics still leaves its stack.
QHash<const ViewController *, ScreenStack::Place> &ScreenStack::places()
{
    static auto *all = new QHash<const ViewController *, Place>;
    return *all;
}

ScreenStack *ScreenStack::of(const ViewController *controller)
{
    const auto found = places().constFind(controller);
    return found == places().cend() ? nullptr : found->stack.get();
}

ViewController *ScreenStack::topOf(ViewController *controller)
{
    const ScreenStack *stack = of(controller);
    return stack ? stack->top() : controller;
}

void ScreenStack::push(ViewController *presenter, ViewController *presented)
{
    const std::shared_ptr<ScreenStack> stack = started(presenter);
    // A screen that presents others already brings them, and their transitions, along.
    const std::shared_ptr<ScreenStack> above = places().value(presented).stack;
    if (!above) {
        append(stack, presented);
        return;
    }
    for (ViewController *screen : above->screens_)
        append(stack, screen);
    stack->transitions_.insert(stack->transitions_.end(), above->transitions_.begin(), above->transitions_.end());
}

void ScreenStack::popAbove(const ViewController *screen)
{
    const Place place = places().value(screen);
    if (place.stack)
        place.stack->truncate(place.index + 1);
}

void ScreenStack::remove(const ViewController *screen)
{
    const Place place = places().take(screen);
    if (!place.stack)
        return;
    ScreenStack &stack = *place.stack;
    if (place.index + 1 < stack.screens_.size()) {
        const auto above = std::make_shared<ScreenStack>();
        for (size_t i = place.index + 1; i < stack.screens_.size(); ++i)
            append(above, stack.screens_[i]);
        const auto ownedAbove = std::stable_partition(stack.transitions_.begin(), stack.transitions_.end(),
                                                      [&above](const Transition &t) { return of(t.owner) != above.get(); });
        above->transitions_.assign(ownedAbove, stack.transitions_.end());
        stack.transitions_.erase(ownedAbove, stack.transitions_.end());
    }
    stack.screens_.resize(place.index);
}

ViewController *ScreenStack::top() const
{
    return screens_.empty() ? nullptr : screens_.back();
}

void ScreenStack::addTransition(const ViewController *owner, ModalTransition *transition)
{
    pruneTransitions();
    transitions_.push_back({owner, transition});
}

ModalTransition *ScreenStack::runningTransition()
{
    pruneTransitions();
    for (const Transition &each : transitions_) {
        if (each.transition->isRunning())
            return each.transition;
    }
    return nullptr;
}

bool ScreenStack::hasTransition()
{
    pruneTransitions();
    return !transitions_.empty();
}

std::shared_ptr<ScreenStack> ScreenStack::started(ViewController *bottom)
{
    Place &place = places()[bottom];
    if (!place.stack) {
        place.stack = std::make_shared<ScreenStack>();
        place.stack->screens_.push_back(bottom);
    }
    return place.stack;
}

void ScreenStack::append(const std::shared_ptr<ScreenStack> &stack, ViewController *screen)
{
    places()[screen] = Place{stack, stack->screens_.size()};
    stack->screens_.push_back(screen);
}

void ScreenStack::truncate(size_t size)
{
    for (size_t i = size; i < screens_.size(); ++i)
        places().remove(screens_[i]);
    screens_.resize(size);
}

void ScreenStack::pruneTransitions()
{
    std::erase_if(transitions_, [](const Transition &t) { return t.transition.isNull(); });
}

}  // namespace Velmora::Platform
