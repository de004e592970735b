#pragma once

#include "WebContent.h"

#include <QObject>
#include <QPointer>

namespace Velmora::Platform {

// A guarded pointer to web content of any kind: null once the content is gone.
class WebContentPointer
{
public:
    WebContentPointer() = default;
    WebContentPointer(WebContent *content) : content_(content), alive_(content ? content->contentObject() : nullptr) {}

    WebContent *get() const { return alive_ ? content_ : nullptr; }
    WebContent *operator->() const { return get(); }
    operator WebContent *() const { return get(); }

private:
    WebContent *content_ = nullptr;
    QPointer<QObject> alive_;
};

}  // namespace Velmora::Platform
