#include "Quick/TSKQuickWebApp.h"

#include "QuickWebView.h"
#include "Utility/TSKIntrinsicImages.h"
#include "ViewController/TSKScreenLifecycle.h"
#include "WebApp/TSKWebAppWebViewDelegate.h"

#include <QNetworkRequest>

using namespace Velmora::Platform;

namespace {

const char *const kChromeSource = R"(
import QtQuick
Rectangle {
    id: chrome
    /* Spinner */
    required property QtObject screen
    required property int inset
    property bool loading: true
    readonly property Item page: page
    color: "black"
    Item { id: page; anchors.fill: parent }
    Item {
        objectName: "closeButton"
        x: chrome.inset; y: chrome.inset; width: 25; height: 25
        MouseArea { anchors.fill: parent; cursorShape: Qt.PointingHandCursor; onClicked: chrome.screen.relinquishScreen() }
    }
    Spinner { objectName: "Spinner"; anchors.centerIn: parent; running: chrome.loading }
}
)";

}  // namespace

TSKQuickWebApp::TSKQuickWebApp(QQmlEngine *engine, std::shared_ptr<TSKDelegateManager> delegateManager)
    : TSKQuickScreen(engine, std::make_unique<TSKScreenLifecycle>(this)), presenter_(this)
{
    lifecycle()->setDelegateManager(std::move(delegateManager));
    setObjectName(QStringLiteral("webApp"));
    static const QByteArray chromeSource = withSpinner(kChromeSource);
    chrome_ = makeChrome(QUrl(QStringLiteral("qrc:/velmora/WebApp.qml")), chromeSource.constData(),
                         {{QStringLiteral("inset"), kCloseButtonInset}});
    showPicture(chrome_, "closeButton", TSKIntrinsicImages::closeButton());
    webView_ = makePageView(chrome_);
    webView_->setTransparent();
    webViewDelegate_ = std::make_unique<TSKWebAppWebViewDelegate>(webView_, [this] { chrome_->setProperty("loading", false); });
    webViewDelegate_->setScreen(this, &presenter_);
    webView_->setDelegate(webViewDelegate_.get());
}

TSKQuickWebApp::~TSKQuickWebApp()
{
    webView_->setDelegate(nullptr);
}

WebContent *TSKQuickWebApp::webView() const
{
    return webView_;
}

void TSKQuickWebApp::load(const QUrl &url)
{
    if (!url.isEmpty())
        webView_->loadRequest(QNetworkRequest(url));
}

void TSKQuickWebApp::loadHTML(const QString &html)
{
    webView_->loadHTMLString(html, QUrl());
}

void TSKQuickWebApp::screenDidAppear()
{
    webViewDelegate_->screenDidAppear();
}

void TSKQuickWebApp::screenDidDisappear()
{
    webViewDelegate_->screenDidDisappear();
}
