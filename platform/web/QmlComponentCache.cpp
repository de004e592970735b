#include "QmlComponentCache.h"

#include <QHash>
#include <QQmlComponent>
#include <QQmlEngine>

namespace Velmora::Platform {

QQmlComponent *QmlComponentCache::component(QQmlEngine *engine, const QUrl &name, const char *source)
{
    static QHash<QPair<QQmlEngine *, QUrl>, QQmlComponent *> components;
    const QPair<QQmlEngine *, QUrl> key(engine, name);
    QQmlComponent *&component = components[key];
    if (component)
        return component;
    component = new QQmlComponent(engine, engine);
    // The engine may still be loading the modules it imports (see QuickWebView::whenReady).
    QObject::connect(component, &QQmlComponent::statusChanged, component, [component] {
        if (component->isError())
            qFatal("%s", qUtf8Printable(component->errorString()));
    });
    component->setData(source, name);
    QObject::connect(engine, &QObject::destroyed, [key] { components.remove(key); });
    return component;
}

}  // namespace Velmora::Platform
