#include "WebWindowSurface.h"

#include <QQuickWidget>

namespace Velmora::Platform {

namespace {

const char *const kStandInName = "webWindowSurface";

}  // namespace

// A hidden widget of the same kind as the engine's asks the window for the
// same surface, whatever the platform makes of it; it never renders.
void WebWindowSurface::prepare(QWidget *window)
{
    if (!window || !window->isWindow() || window->testAttribute(Qt::WA_WState_Created)
        || window->findChild<QQuickWidget *>(QLatin1String(kStandInName), Qt::FindDirectChildrenOnly))
        return;
    auto *standIn = new QQuickWidget(window);
    standIn->setObjectName(QLatin1String(kStandInName));
    standIn->hide();
}

}  // namespace Velmora::Platform
