#pragma once

#include "Error.h"

#include <QList>
#include <QObject>
#include <QVariant>
#include <memory>

namespace Velmora::Platform {
class Selector;
}
class TSKDelegateContainer;

// Fans the six ad events out to every registered delegate, under the banner
// form of the callback and the interstitial form, whichever each delegate
// implements (both, banner first, if it has both). A delegate implements a
// form with an invokable such as
//     Q_INVOKABLE void adViewDidReceiveAd(TSKBannerView *view);
//     Q_INVOKABLE void interstitialDidFailToReceiveAdWithError(QObject *ad, const Error &error);
// Events are always delivered on the GUI thread; a caller on another thread
// waits until they have been.
class TSKDelegateManager
{
public:
    TSKDelegateManager();
    ~TSKDelegateManager();

    // A delegate added twice gets two containers.
    TSKDelegateContainer *addDelegate(QObject *delegate, QObject *object);
    void removeDelegate(QObject *delegate);
    TSKDelegateContainer *containerForDelegate(QObject *delegate) const;
    // The first container not belonging to the library itself.
    TSKDelegateContainer *publisherDelegateContainer() const;
    QList<TSKDelegateContainer *> delegateContainers() const;

    void didReceiveAd();
    void didFailToReceiveAdWithError(const Velmora::Platform::Error &error);
    void willPresentScreen();
    void willDismissScreen();
    void didDismissScreen();
    void willLeaveApplication();

private:
    using Containers = QList<std::shared_ptr<TSKDelegateContainer>>;

    // Works on a snapshot, so a delegate that destroys the ad (and this
    // manager) or changes the registrations does not disturb the round.
    static void callActiveSelectors(Containers containers, const Velmora::Platform::Selector &banner,
                                    const Velmora::Platform::Selector &interstitial, const QVariant &argument);
    void deliver(const Velmora::Platform::Selector &banner, const Velmora::Platform::Selector &interstitial, const QVariant &argument = {});

    Containers delegateContainers_;
};
