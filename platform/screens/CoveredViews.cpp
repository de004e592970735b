#include "CoveredViews.h"

#include <QHash>
#include <QLayout>
#include <QPointer>
#include <QWidget>
#include <optional>

namespace Velmora::Platform {

namespace {

struct Held {
    QPointer<QWidget> parent;
    Qt::WindowFlags flags;
    QMetaObject::Connection parentGone;
    QMetaObject::Connection viewGone;
};

// Never destroyed: a view that outlives the program's statics can still leave it.
QHash<const QWidget *, Held> &heldViews()
{
    static auto *all = new QHash<const QWidget *, Held>;
    return *all;
}

bool isLaidOut(const QWidget *view, const QWidget *parent)
{
    return parent->layout() && parent->layout()->indexOf(view) >= 0;
}

std::optional<Held> take(const QWidget *view)
{
    const auto found = heldViews().constFind(view);
    if (found == heldViews().cend())
        return std::nullopt;
    Held held = *found;
    heldViews().erase(found);
    QObject::disconnect(held.parentGone);
    QObject::disconnect(held.viewGone);
    return held;
}

}  // namespace

void CoveredViews::hold(QWidget *view)
{
    view->hide();
    QWidget *parent = view->parentWidget();
    if (!parent || view->isWindow() || isLaidOut(view, parent) || heldViews().contains(view))
        return;
    Held &held = heldViews()[view];
    held.parent = parent;
    held.flags = view->windowFlags();
    held.parentGone = QObject::connect(parent, &QObject::destroyed, view, [view] { delete view; });
    held.viewGone = QObject::connect(view, &QObject::destroyed, [view] { heldViews().remove(view); });
    view->setParent(nullptr);
}

QWidget *CoveredViews::putBack(QWidget *view, QWidget *under)
{
    const std::optional<Held> held = take(view);
    if (!held)
        return view->parentWidget();
    view->setParent(held->parent, held->flags);
    if (under && under->parentWidget() == held->parent)
        view->stackUnder(under);
    return held->parent;
}

void CoveredViews::release(QWidget *view)
{
    take(view);
}

}  // namespace Velmora::Platform
