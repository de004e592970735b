#pragma once

class QWidget;

namespace Velmora::Platform {

// A web view paints through a scene graph widget of the engine's, made when
// its first page shows. A top-level window already on screen when such a
// widget joins it must change the kind of surface it renders to, which Qt
// does by replacing the native window: a new window id, the window unmapped
// and mapped again. A window prepared before it is first shown has that
// surface from the start.
class WebWindowSurface
{
public:
    // Does nothing for a window already shown or already prepared, and for
    // a widget that is not a window.
    static void prepare(QWidget *window);
};

}  // namespace Velmora::Platform
