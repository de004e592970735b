#pragma once

#include "Selector.h"

#include <QObject>
#include <QPointer>
#include <memory>

// One registration with a delegate manager: who hears the ad events and which
// ad object they are about. Neither is owned.
class TSKDelegateContainer
{
public:
    static std::shared_ptr<TSKDelegateContainer> containerWithDelegate(QObject *delegate, QObject *object);

    TSKDelegateContainer(QObject *delegate, QObject *object);

    QObject *delegate() const { return delegate_; }
    void setDelegate(QObject *delegate) { delegate_ = delegate; }
    QObject *object() const { return object_; }
    void setObject(QObject *object) { object_ = object; }
    bool isDisabled() const { return disabled_; }
    void setDisabled(bool disabled) { disabled_ = disabled; }
    bool isInternal() const { return internal_; }
    void setInternal(bool internal) { internal_ = internal; }

    // Whether the delegate implements the selector; a gone delegate does not.
    bool didYouNilOutYourDelegate(const Velmora::Platform::Selector &selector) const;

private:
    QPointer<QObject> delegate_;
    QPointer<QObject> object_;
    bool disabled_ = false;
    bool internal_ = false;
};
