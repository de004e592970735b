#pragma once

#include <QUrl>

class QQmlComponent;
class QQmlEngine;

namespace Velmora::Platform {

// QML written in the code, compiled once per engine and gone with it. A
// component that does not compile is a fault of the program itself.
class QmlComponentCache
{
public:
    // `name` tells the components apart and names them in errors.
    static QQmlComponent *component(QQmlEngine *engine, const QUrl &name, const char *source);
};

}  // namespace Velmora::Platform
