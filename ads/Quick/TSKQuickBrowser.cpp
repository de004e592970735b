#include "Quick/TSKQuickBrowser.h"

#include "Browser/TSKBrowserWebViewDelegate.h"
#include "QuickWebView.h"
#include "Utility/TSKIntrinsicImages.h"
#include "ViewController/TSKScreenLifecycle.h"

#include <QNetworkRequest>

using namespace Velmora::Platform;

namespace {

const char *const kChromeSource = R"(
import QtQuick
Rectangle {
    id: chrome
    /* Spinner */
    required property QtObject screen
    property bool canGoBack: false
    property bool canGoForward: false
    property bool loading: false
    readonly property Item page: page
    color: "black"
    component Button: Item {
        id: button
        property bool enabled: true
        signal tapped
        width: 36; height: parent.height
        opacity: enabled ? 1 : 0.3
        MouseArea { anchors.fill: parent; enabled: button.enabled; onClicked: button.tapped() }
    }
    component Arrow: Button {
        property alias pictureName: picture.objectName
        Item { id: picture; anchors.centerIn: parent; width: 27; height: 27 }
    }
    component Label: Button {
        property alias text: label.text
        property bool bold: false
        width: label.implicitWidth
        Text { id: label; anchors.centerIn: parent; color: "white"; font.pixelSize: 17; font.bold: parent.bold }
    }
    Item { id: page; anchors { left: parent.left; right: parent.right; top: parent.top; bottom: toolbar.top } }
    Rectangle {
        id: toolbar
        objectName: "browserToolbar"
        height: 44
        color: "#101014"
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        Row {
            anchors { fill: parent; leftMargin: 6; rightMargin: 12 }
            spacing: (width - back.width - forward.width - reload.width - done.width) / 3
            Arrow { id: back; objectName: "Back"; pictureName: "backPicture"; enabled: chrome.canGoBack; onTapped: chrome.screen.back() }
            Arrow { id: forward; objectName: "Forward"; pictureName: "forwardPicture"; enabled: chrome.canGoForward; onTapped: chrome.screen.forward() }
            Item {
                id: reload
                width: 36; height: parent.height
                Label { objectName: "Reload"; anchors.centerIn: parent; text: "\u21BB"; visible: !chrome.loading; onTapped: chrome.screen.reload() }
                Spinner { objectName: "Spinner"; anchors.centerIn: parent; running: chrome.loading }
            }
            Label { id: done; objectName: "Done"; text: "Done"; bold: true; onTapped: chrome.screen.relinquishScreen() }
        }
    }
}
)";

}  // namespace

TSKQuickBrowser::TSKQuickBrowser(QQmlEngine *engine, std::shared_ptr<TSKDelegateManager> delegateManager)
    : TSKQuickScreen(engine, std::make_unique<TSKScreenLifecycle>(this)), presenter_(this)
{
    lifecycle()->setDelegateManager(std::move(delegateManager));
    setObjectName(QStringLiteral("browser"));
    static const QByteArray chromeSource = withSpinner(kChromeSource);
    chrome_ = makeChrome(QUrl(QStringLiteral("qrc:/velmora/Browser.qml")), chromeSource.constData());
    showPicture(chrome_, "backPicture", TSKIntrinsicImages::browserBackButton());
    showPicture(chrome_, "forwardPicture", TSKIntrinsicImages::browserForwardButton());
    webView_ = makePageView(chrome_);
    webViewDelegate_ = std::make_unique<TSKBrowserWebViewDelegate>([this] { refreshToolbar(); });
    webViewDelegate_->setScreen(this, &presenter_);
    webView_->setDelegate(webViewDelegate_.get());
}

TSKQuickBrowser::~TSKQuickBrowser()
{
    webView_->setDelegate(nullptr);
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
