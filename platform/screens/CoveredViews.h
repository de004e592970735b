#pragma once

class QWidget;

namespace Velmora::Platform {

// Views of covered screens, held outside their windows until they come back
// on top. Qt walks every widget of a window when the focus chain changes,
// when a widget leaves the window and when a widget paints over hidden
// siblings, so hundreds of covered screens hidden in one window would make
// each of those walks longer as a session goes on. A held view keeps its
// children, geometry and tab order, and goes when its parent goes, as it
// would have in the window.
class CoveredViews
{
public:
    // Hides the view and takes it out of its window. A view with no parent,
    // or placed by its parent's layout, is only hidden.
    static void hold(QWidget *view);
    // Puts a held view back in its parent, still hidden, just under `under`
    // when that is a sibling. Answers the view's parent.
    static QWidget *putBack(QWidget *view, QWidget *under);
    // The view leaves for good: it stays outside and is no longer held.
    static void release(QWidget *view);
};

}  // namespace Velmora::Platform
