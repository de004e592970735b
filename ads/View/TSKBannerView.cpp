#include <VelmoraAds/TSKBannerView.h>

#include "Application.h"
#include "Delegate/TSKDelegateContainer.h"
#include "Delegate/TSKDelegateManager.h"
#include "NotificationCenter.h"
#include "Object/TSKObjectPrivate.h"
#include <VelmoraAds/TSKRequestError.h>
#include "Request/TSKRequestPrivate.h"
#include "Utility/TSKPrivateUtilities.h"
#include "View/TSKWebViewDelegate.h"
#include "ViewGeometry.h"
#include "WebView.h"

#include <cstdio>

using namespace Velmora::Platform;

void TSKBannerView::registerSchemes(const QStringList &applicationLinkSchemes)
{
    TSKWebViewDelegate::registerSchemes(applicationLinkSchemes);
    Application::allowApplicationLinkSchemes(applicationLinkSchemes);
}

TSKBannerView::TSKBannerView(const QRectF &frame, QWidget *parent) : QWidget(parent)
{
    ViewGeometry::setFrame(this, frame);
    commonInitializer();
}

TSKBannerView::TSKBannerView(QWidget *parent) : QWidget(parent)
{
    commonInitializer();
}

TSKBannerView::~TSKBannerView()
{
    privateObject()->cancelPendingActions();
    NotificationCenter::defaultCenter()->removeObserver(this);
    TSKPrivateUtilities::removePrivateObjectForKey(this);
}

void TSKBannerView::commonInitializer()
{
    setAttribute(Qt::WA_TranslucentBackground);
    TSKPrivateUtilities::setPrivateObjectForKey(std::make_unique<TSKObjectPrivate>(this), this);
}

// The ad fills the banner, whatever its size.
void TSKBannerView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (WebView *view = webView())
        view->setGeometry(rect());
}

TSKObjectPrivate *TSKBannerView::privateObject() const
{
    return TSKPrivateUtilities::privateObjectForKey<TSKObjectPrivate>(this);
}

QString TSKBannerView::adUnitID() const
{
    return privateObject()->adUnitID();
}

void TSKBannerView::setAdUnitID(const QString &adUnitID)
{
    privateObject()->setAdUnitID(adUnitID);
}

ViewController *TSKBannerView::rootViewController() const
{
    return privateObject()->rootViewController();
}

void TSKBannerView::setRootViewController(ViewController *controller)
{
    privateObject()->setRootViewController(controller);
}

QObject *TSKBannerView::delegate() const
{
    const TSKDelegateContainer *container = privateObject()->delegateManager()->publisherDelegateContainer();
    return container ? container->delegate() : nullptr;
}

void TSKBannerView::setDelegate(QObject *delegate)
{
    privateObject()->delegateManager()->addDelegate(delegate, this);
}

bool TSKBannerView::hasAutoRefreshed() const
{
    return privateObject()->hasAutoRefreshed();
}

WebView *TSKBannerView::webView() const
{
    return dynamic_cast<WebView *>(privateObject()->webView());
}

void TSKBannerView::loadRequest(const TSKRequest *request)
{
    if (rootViewController()) {
        privateObject()->loadRequest(request);
        return;
    }
    std::fprintf(stderr, "<Tiskos> Must set the rootViewController property of TSKBannerView before calling loadRequest:\n");
    TSKRequestPrivate sent = request ? TSKRequestPrivate(*TSKRequestPrivate::from(request)) : TSKRequestPrivate();
    privateObject()->delegateManager()->didFailToReceiveAdWithError(
        TSKRequestError::errorWithCodeRequest(TSKRequestError::InvalidRequest, &sent));
}
