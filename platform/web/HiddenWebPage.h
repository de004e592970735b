#pragma once

#include "WebPageContent.h"

#include <QObject>

namespace Velmora::Platform {

// Web content that nobody sees and nothing draws: a page of the engine's
// with no view, which a program without widgets can run as well.
class HiddenWebPage : public QObject, public WebPageContent
{
    Q_OBJECT
public:
    HiddenWebPage() = default;

    void deleteSoon() override;
    QObject *contentObject() override { return this; }
};

}  // namespace Velmora::Platform
