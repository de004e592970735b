#include "Quick/TSKQuickBrowser.h"

#include "Browser/TSKBrowserWebViewDelegate.h"
#include "Delegate/TSKDelegateManager.h"
#include "NotificationCenter.h"
#include "QmlComponentCache.h"
#include "QuickWebView.h"
#include "Statistics/TSKStatistics.h"
#include "ViewController/TSKFullScreen.h"

#include <QNetworkRequest>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

using namespace Velmora::Platform;

namespace {

// Above whatever the program stacks in its window's content.
constexpr qreal kAboveContent = 1e6;

const char *const kChromeSource = R"(
import QtQuick
Rectangle {
    required property QtObject browser
    property bool canGoBack: false
    property bool canGoForward: false
    property bool loading: false
    readonly property Item page: page
    color: "black"
    component Button: Text {
        property bool enabled: true
        signal tapped
        color: enabled ? "white" : "#666666"
        font.pixelSize: 17
        verticalAlignment: Text.AlignVCenter
        height: parent.height
        MouseArea { anchors.fill: parent; enabled: parent.enabled; onClicked: parent.tapped() }
    }
    Item { id: page; anchors { left: parent.left; right: parent.right; top: parent.top; bottom: toolbar.top } }
    Rectangle {
        id: toolbar
        objectName: "browserToolbar"
        height: 44
        color: "#101014"
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        Row {
            anchors { fill: parent; leftMargin: 12; rightMargin: 12 }
            spacing: (width - back.width - forward.width - reload.width - done.width) / 3
            Button { id: back; objectName: "Back"; text: "\u25C0"; enabled: canGoBack; onTapped: browser.back() }
            Button { id: forward; objectName: "Forward"; text: "\u25B6"; enabled: canGoForward; onTapped: browser.forward() }
            Item {
                id: reload
                width: 28; height: parent.height
                Button { objectName: "Reload"; text: "\u21BB"; visible: !loading; onTapped: browser.reload() }
                Rectangle {
                    objectName: "Spinner"
                    visible: loading
                    anchors.centerIn: parent
                    width: 20; height: 20; radius: 10
                    color: "transparent"; border.color: "white"; border.width: 2
                    Rectangle { width: 6; height: 6; radius: 3; color: "#101014"; x: 7; y: -2 }
                    RotationAnimator on rotation { from: 0; to: 360; duration: 900; loops: Animation.Infinite; running: loading }
                }
            }
            Button { id: done; objectName: "Done"; text: "Done"; font.bold: true; onTapped: browser.done() }
        }
    }
}
)";

QQuickItem *makeChrome(QQmlEngine *engine, QObject *browser)
{
    QQmlComponent *component =
        QmlComponentCache::component(engine, QUrl(QStringLiteral("velmora:///Browser.qml")), kChromeSource);
    return qobject_cast<QQuickItem *>(
        component->createWithInitialProperties({{QStringLiteral("browser"), QVariant::fromValue(browser)}}));
}

}  // namespace

TSKQuickBrowser *TSKQuickBrowser::present(QQmlEngine *engine, QQuickWindow *window,
                                          std::shared_ptr<TSKDelegateManager> delegateManager)
{
    NotificationCenter::defaultCenter()->postNotificationName(TSKFullScreen::WillPresentNotification, nullptr);
    if (delegateManager)
        delegateManager->willPresentScreen();
    return new TSKQuickBrowser(engine, window, std::move(delegateManager));
}

TSKQuickBrowser::TSKQuickBrowser(QQmlEngine *engine, QQuickWindow *window,
                                 std::shared_ptr<TSKDelegateManager> delegateManager)
    : QQuickItem(window->contentItem()), delegateManager_(std::move(delegateManager))
{
    setZ(kAboveContent);
    setSize(window->contentItem()->size());
    connect(window->contentItem(), &QQuickItem::widthChanged, this, [this] { setWidth(parentItem()->width()); });
    connect(window->contentItem(), &QQuickItem::heightChanged, this, [this] { setHeight(parentItem()->height()); });
    // Presses stop here, whatever lies below.
    setAcceptedMouseButtons(Qt::AllButtons);
    setAcceptTouchEvents(true);
    chrome_ = makeChrome(engine, this);
    chrome_->setParent(this);
    chrome_->setParentItem(this);
    chrome_->setSize(size());
    QQuickItem *page = chrome_->property("page").value<QQuickItem *>();
    webView_ = new QuickWebView(engine, page);
    webView_->setSize(page->size());
    connect(page, &QQuickItem::heightChanged, webView_, [this, page] { webView_->setSize(page->size()); });
    connect(page, &QQuickItem::widthChanged, webView_, [this, page] { webView_->setSize(page->size()); });
    webViewDelegate_ = std::make_unique<TSKBrowserWebViewDelegate>([this] { refreshToolbar(); });
    webView_->setDelegate(webViewDelegate_.get());
    setFocus(true);
}

// Gone with its window: the banners paused meanwhile must not wait for ever.
TSKQuickBrowser::~TSKQuickBrowser()
{
    webView_->setDelegate(nullptr);
    if (!relinquished_)
        NotificationCenter::defaultCenter()->postNotificationName(TSKFullScreen::DidRelinquishNotification, nullptr);
}

WebContent *TSKQuickBrowser::webView() const
{
    return webView_;
}

void TSKQuickBrowser::loadReferringURL(const QUrl &url, const QUrl &referringURL)
{
    if (url.isEmpty())
        return;
    QNetworkRequest request(url);
    if (referringURL.isValid())
        request.setRawHeader("Referer", referringURL.toEncoded());
    webView_->loadRequest(request);
    refreshToolbar();
}

void TSKQuickBrowser::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (chrome_)
        chrome_->setSize(newGeometry.size());
}

void TSKQuickBrowser::refreshToolbar()
{
    chrome_->setProperty("canGoBack", webView_->canGoBack());
    chrome_->setProperty("canGoForward", webView_->canGoForward());
    chrome_->setProperty("loading", webView_->isLoading());
}

void TSKQuickBrowser::back()
{
    if (webView_->canGoBack())
        webView_->goBack();
}

void TSKQuickBrowser::forward()
{
    if (webView_->canGoForward())
        webView_->goForward();
}

void TSKQuickBrowser::reload()
{
    webView_->reload();
}

void TSKQuickBrowser::done()
{
    if (std::exchange(relinquished_, true))
        return;
    if (delegateManager_)
        delegateManager_->willDismissScreen();
    setVisible(false);
    NotificationCenter::defaultCenter()->postNotificationName(TSKFullScreen::DidRelinquishNotification, nullptr);
    TSKStatistics *statistics = TSKStatistics::sharedStatistics();
    statistics->endTimingNamed(QStringLiteral("plpd"));
    statistics->endTimingNamed(QStringLiteral("pcl"));
    if (delegateManager_)
        delegateManager_->didDismissScreen();
    webView_->stopLoading();
    deleteLater();
}
