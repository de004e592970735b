#pragma once

#include "TouchPoint.h"
#include "PlatformExport.h"

#include <QList>

namespace Velmora::Platform {

/// The event that goes with a set of touches: every touch currently on the
/// screen, whatever its phase.
class VELMORAPLATFORM_EXPORT TouchEvent
{
public:
    TouchEvent(QList<TouchPoint> allTouches, double timestamp)
        : allTouches_(std::move(allTouches)), timestamp_(timestamp)
    {
    }

    const QList<TouchPoint> &allTouches() const { return allTouches_; }
    double timestamp() const { return timestamp_; }

private:
    QList<TouchPoint> allTouches_;
    double timestamp_;
};

}  // namespace Velmora::Platform
