#include "ViewController/TSKViewControllerPrivate.h"

#include "Delegate/TSKDelegateManager.h"

const std::shared_ptr<TSKDelegateManager> &TSKViewControllerPrivate::delegateManager()
{
    if (!delegateManager_)
        delegateManager_ = std::make_shared<TSKDelegateManager>();
    return delegateManager_;
}
