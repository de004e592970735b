#pragma once

#include <QByteArray>
#include <QList>
#include <QMetaMethod>
#include <QMetaType>
#include <QObject>
#include <QVariant>

namespace Velmora::Platform {

// An optional delegate method: a name and parameter types. A receiver
// implements it when its meta-object has an invokable (or slot) of that name
// whose parameters match. A parameter declared here as QObject* matches a
// pointer to any QObject class, so `viewDidLoad(MyView*)` implements a
// selector declared with a QObject* parameter, even when the receiver only
// forward-declares MyView.
class Selector
{
public:
    Selector(QByteArray name, QList<QMetaType> parameterTypes);

    const QByteArray &name() const { return name_; }

    bool isImplementedBy(const QObject *receiver) const;

    // Calls the matching method directly, on the caller's thread. An object
    // argument that is not an instance of the method's parameter class makes
    // the call impossible; so does a missing method. Answers whether it ran.
    bool performOn(QObject *receiver, const QVariantList &arguments) const;

private:
    QMetaMethod methodOf(const QObject *receiver) const;
    bool parameterMatches(const QMetaMethod &method, int parameter, const QMetaType &wanted) const;

    QByteArray name_;
    QList<QMetaType> parameterTypes_;
};

}  // namespace Velmora::Platform
