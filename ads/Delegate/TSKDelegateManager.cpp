#include "Delegate/TSKDelegateManager.h"

#include "Delegate/TSKDelegateContainer.h"
#include "Selector.h"
#include "Statistics/TSKStatistics.h"

#include <QCoreApplication>
#include <QThread>

using namespace Velmora::Platform;

namespace {

Selector objectSelector(const char *name)
{
    return Selector(name, {QMetaType::fromType<QObject *>()});
}

Selector errorSelector(const char *name)
{
    return Selector(name, {QMetaType::fromType<QObject *>(), QMetaType::fromType<Error>()});
}

// Runs `event` on the GUI thread; a caller on another thread waits for it.
template <typename Event>
void onGuiThread(Event event)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread())
        event();
    else
        QMetaObject::invokeMethod(app, event, Qt::BlockingQueuedConnection);
}

}  // namespace

TSKDelegateManager::TSKDelegateManager() = default;
TSKDelegateManager::~TSKDelegateManager() = default;

TSKDelegateContainer *TSKDelegateManager::addDelegate(QObject *delegate, QObject *object)
{
    delegateContainers_.append(TSKDelegateContainer::containerWithDelegate(delegate, object));
    return delegateContainers_.last().get();
}

void TSKDelegateManager::removeDelegate(QObject *delegate)
{
    TSKDelegateContainer *container = containerForDelegate(delegate);
    delegateContainers_.removeIf([container](const auto &entry) { return entry.get() == container; });
}

TSKDelegateContainer *TSKDelegateManager::containerForDelegate(QObject *delegate) const
{
    for (const auto &container : delegateContainers_) {
        if (container->delegate() == delegate)
            return container.get();
    }
    return nullptr;
}

TSKDelegateContainer *TSKDelegateManager::publisherDelegateContainer() const
{
    for (const auto &container : delegateContainers_) {
        if (!container->isInternal())
            return container.get();
    }
    return nullptr;
}

QList<TSKDelegateContainer *> TSKDelegateManager::delegateContainers() const
{
    QList<TSKDelegateContainer *> containers;
    for (const auto &container : delegateContainers_)
        containers.append(container.get());
    return containers;
}

void TSKDelegateManager::callActiveSelectors(Containers containers, const Selector &banner,
                                             const Selector &interstitial, const QVariant &argument)
{
    for (const auto &container : containers) {
        if (container->isDisabled())
            continue;
        for (const Selector *selector : {&banner, &interstitial}) {
            if (!container->didYouNilOutYourDelegate(*selector))
                continue;
            QVariantList arguments{QVariant::fromValue(container->object())};
            if (argument.isValid())
                arguments.append(argument);
            selector->performOn(container->delegate(), arguments);
        }
    }
}

void TSKDelegateManager::deliver(const Selector &banner, const Selector &interstitial, const QVariant &argument)
{
    onGuiThread([&] { callActiveSelectors(delegateContainers_, banner, interstitial, argument); });
}

void TSKDelegateManager::didReceiveAd()
{
    static const Selector banner = objectSelector("adViewDidReceiveAd");
    static const Selector interstitial = objectSelector("interstitialDidReceiveAd");
    deliver(banner, interstitial);
}

void TSKDelegateManager::didFailToReceiveAdWithError(const Error &error)
{
    static const Selector banner = errorSelector("adViewDidFailToReceiveAdWithError");
    static const Selector interstitial = errorSelector("interstitialDidFailToReceiveAdWithError");
    deliver(banner, interstitial, QVariant::fromValue(error));
}

void TSKDelegateManager::willPresentScreen()
{
    static const Selector banner = objectSelector("adViewWillPresentScreen");
    static const Selector interstitial = objectSelector("interstitialWillPresentScreen");
    deliver(banner, interstitial);
}

void TSKDelegateManager::willDismissScreen()
{
    static const Selector banner = objectSelector("adViewWillDismissScreen");
    static const Selector interstitial = objectSelector("interstitialWillDismissScreen");
    deliver(banner, interstitial);
}

void TSKDelegateManager::didDismissScreen()
{
    static const Selector banner = objectSelector("adViewDidDismissScreen");
    static const Selector interstitial = objectSelector("interstitialDidDismissScreen");
    deliver(banner, interstitial);
}

void TSKDelegateManager::willLeaveApplication()
{
    static const Selector banner = objectSelector("adViewWillLeaveApplication");
    static const Selector interstitial = objectSelector("interstitialWillLeaveApplication");
    deliver(banner, interstitial);
    onGuiThread([] {
        TSKStatistics *statistics = TSKStatistics::sharedStatistics();
        if (statistics->isTimingClick())
            statistics->setClickBackgroundedApp();
    });
}
