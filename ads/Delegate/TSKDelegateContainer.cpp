#include "Delegate/TSKDelegateContainer.h"

using namespace Velmora::Platform;

std::shared_ptr<TSKDelegateContainer> TSKDelegateContainer::containerWithDelegate(QObject *delegate, QObject *object)
{
    return std::make_shared<TSKDelegateContainer>(delegate, object);
}

TSKDelegateContainer::TSKDelegateContainer(QObject *delegate, QObject *object) : delegate_(delegate), object_(object)
{
}

bool TSKDelegateContainer::didYouNilOutYourDelegate(const Selector &selector) const
{
    return selector.isImplementedBy(delegate_);
}
