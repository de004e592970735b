#include "Selector.h"

#include <array>

namespace Velmora::Platform {

Selector::Selector(QByteArray name, QList<QMetaType> parameterTypes)
    : name_(std::move(name)), parameterTypes_(std::move(parameterTypes))
{
}

bool Selector::isImplementedBy(const QObject *receiver) const
{
    return receiver && methodOf(receiver).isValid();
}

// A receiver whose header only forward-declares the class of a pointer
// parameter gets a meta type that knows nothing but the name "Class*".
static bool isObjectPointer(const QMetaMethod &method, int parameter)
{
    const QMetaType declared = method.parameterMetaType(parameter);
    if (declared.flags().testFlag(QMetaType::PointerToQObject))
        return true;
    return !declared.metaObject() && method.parameterTypeName(parameter).endsWith('*');
}

static QByteArray pointeeClassName(const QMetaMethod &method, int parameter)
{
    const QMetaType declared = method.parameterMetaType(parameter);
    if (const QMetaObject *meta = declared.metaObject())
        return meta->className();
    return method.parameterTypeName(parameter).chopped(1).trimmed();
}

bool Selector::parameterMatches(const QMetaMethod &method, int parameter, const QMetaType &wanted) const
{
    if (wanted == QMetaType::fromType<QObject *>())
        return isObjectPointer(method, parameter);
    return method.parameterMetaType(parameter) == wanted;
}

QMetaMethod Selector::methodOf(const QObject *receiver) const
{
    const QMetaObject *meta = receiver->metaObject();
    for (int i = meta->methodCount() - 1; i >= 0; --i) {
        const QMetaMethod method = meta->method(i);
        if (method.methodType() == QMetaMethod::Signal || method.name() != name_
            || method.parameterCount() != parameterTypes_.size())
            continue;
        bool matches = true;
        for (int p = 0; p < method.parameterCount() && matches; ++p)
            matches = parameterMatches(method, p, parameterTypes_[p]);
        if (matches)
            return method;
    }
    return {};
}

bool Selector::performOn(QObject *receiver, const QVariantList &arguments) const
{
    if (!receiver || arguments.size() != parameterTypes_.size() || arguments.size() > 10)
        return false;
    const QMetaMethod method = methodOf(receiver);
    if (!method.isValid())
        return false;

    // Object arguments are cast to the exact class the method declares, which
    // also adjusts the pointer where a class has more than one base.
    std::array<void *, 10> objects{};
    std::array<QByteArray, 10> typeNames{};
    std::array<QGenericArgument, 10> generic{};
    QVariantList values = arguments;
    for (int p = 0; p < values.size(); ++p) {
        const QMetaType declared = method.parameterMetaType(p);
        typeNames[p] = method.parameterTypeName(p);
        if (isObjectPointer(method, p)) {
            QObject *object = values[p].value<QObject *>();
            if (object) {
                objects[p] = object->qt_metacast(pointeeClassName(method, p).constData());
                if (!objects[p])
                    return false;
            }
            generic[p] = QGenericArgument(typeNames[p].constData(), &objects[p]);
        } else {
            if (values[p].metaType() != declared && !values[p].convert(declared))
                return false;
            generic[p] = QGenericArgument(typeNames[p].constData(), values[p].constData());
        }
    }
    return method.invoke(receiver, Qt::DirectConnection, generic[0], generic[1], generic[2], generic[3],
                         generic[4], generic[5], generic[6], generic[7], generic[8], generic[9]);
}

}  // namespace Velmora::Platform
