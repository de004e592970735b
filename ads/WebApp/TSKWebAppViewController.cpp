#include "WebApp/TSKWebAppViewController.h"

#include "ActivityIndicator.h"
#include "Utility/TSKIntrinsicImages.h"
#include "WebApp/TSKWebAppViewControllerPrivate.h"
#include "WebApp/TSKWebAppWebViewDelegate.h"
#include "WebView.h"

#include <QPushButton>
#include <QVBoxLayout>

using namespace Velmora::Platform;

TSKWebAppViewController::TSKWebAppViewController(QObject *parent)
    : TSKViewController(std::make_unique<TSKWebAppViewControllerPrivate>(), parent)
{
    vars()->loadingSpinner = new ActivityIndicator(ActivityIndicator::White, view());
}

TSKWebAppViewControllerPrivate *TSKWebAppViewController::vars() const
{
    return static_cast<TSKWebAppViewControllerPrivate *>(privateData());
}

WebView *TSKWebAppViewController::webView() const
{
    return vars()->webView;
}

void TSKWebAppViewController::load(const QUrl &url)
{
    if (url.isEmpty())
        return;
    if (vars()->webView)
        vars()->webView->loadRequest(QNetworkRequest(url));
    else
        vars()->urlToLoad = url;
}

void TSKWebAppViewController::loadHTMLBaseURL(const QString &html, const QUrl &baseURL)
{
    if (html.isNull())
        return;
    if (vars()->webView) {
        vars()->webView->loadHTMLString(html, baseURL);
        return;
    }
    vars()->htmlToLoad = html;
    vars()->htmlBaseURLToLoad = baseURL;
}

void TSKWebAppViewController::viewWillAppear(bool animated)
{
    TSKViewController::viewWillAppear(animated);
    if (vars()->webView)
        return;
    buildWebView();
    startPendingLoad();
    buildCloseButton();
    showLoadingSpinner();
}

void TSKWebAppViewController::buildWebView()
{
    auto *webView = new WebView(view());
    webView->setGeometry(view()->rect());
    // The page fills the screen, whatever size it is given; the close
    // button stays over its corner.
    auto *layout = new QVBoxLayout(view());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(webView);
    webView->page()->setBackgroundColor(Qt::transparent);
    webView->show();
    vars()->webView = webView;
    vars()->webViewDelegate = std::make_unique<TSKWebAppWebViewDelegate>(webView, [this] { hideLoadingSpinner(); });
    vars()->webViewDelegate->setViewController(this);
    webView->setDelegate(vars()->webViewDelegate.get());
}

void TSKWebAppViewController::startPendingLoad()
{
    TSKWebAppViewControllerPrivate *v = vars();
    if (v->urlToLoad.isValid()) {
        load(std::exchange(v->urlToLoad, QUrl()));
    } else if (!v->htmlToLoad.isNull()) {
        const QString html = std::exchange(v->htmlToLoad, QString());
        loadHTMLBaseURL(html, std::exchange(v->htmlBaseURLToLoad, QUrl()));
    }
}

void TSKWebAppViewController::buildCloseButton()
{
    const QPixmap &image = TSKIntrinsicImages::closeButton();
    auto *button = new QPushButton(view());
    button->setObjectName(QStringLiteral("closeButton"));
    button->setAccessibleName(QStringLiteral("Close"));
    button->setIcon(image);
    const QSize size = image.deviceIndependentSize().toSize();
    button->setIconSize(size);
    button->setGeometry(QRect(QPoint(kCloseButtonInset, kCloseButtonInset), size));
    button->setFlat(true);
    button->setStyleSheet(QStringLiteral("QPushButton { border: none; background: transparent; padding: 0; }"));
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::NoFocus);
    connect(button, &QPushButton::clicked, this, &TSKWebAppViewController::relinquishScreen);
    button->show();
    button->raise();
    vars()->closeButton = button;
}

void TSKWebAppViewController::showLoadingSpinner()
{
    ActivityIndicator *spinner = vars()->loadingSpinner;
    if (!spinner)
        return;
    spinner->move((view()->width() - spinner->width()) / 2, (view()->height() - spinner->height()) / 2);
    spinner->startAnimating();
    spinner->raise();
}

void TSKWebAppViewController::hideLoadingSpinner()
{
    if (ActivityIndicator *spinner = std::exchange(vars()->loadingSpinner, nullptr)) {
        spinner->stopAnimating();
        spinner->deleteLater();
    }
}

// Every appearance, the first and each return from a screen opened over it.
void TSKWebAppViewController::viewDidAppear(bool animated)
{
    TSKViewController::viewDidAppear(animated);
    if (vars()->webViewDelegate)
        vars()->webViewDelegate->screenDidAppear();
}

void TSKWebAppViewController::viewDidDisappear(bool animated)
{
    TSKViewController::viewDidDisappear(animated);
    if (vars()->webViewDelegate)
        vars()->webViewDelegate->screenDidDisappear();
}
