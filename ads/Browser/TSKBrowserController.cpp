#include "Browser/TSKBrowserController.h"

#include "ActivityIndicator.h"
#include "Browser/TSKBrowserControllerPrivate.h"
#include "Browser/TSKBrowserWebViewDelegate.h"
#include "Opener/TSKAppOpener.h"
#include "Statistics/TSKStatistics.h"
#include "Utility/TSKIntrinsicImages.h"
#include "WebView.h"

#include <QAction>
#include <QPainter>
#include <QApplication>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWidgetAction>

using namespace Velmora::Platform;

namespace {

// A disabled arrow reads as one: faded, not the bright white of an enabled one.
QIcon withFadedDisabledState(const QPixmap &image)
{
    QPixmap faded(image.size());
    faded.setDevicePixelRatio(image.devicePixelRatio());
    faded.fill(Qt::transparent);
    QPainter painter(&faded);
    painter.setOpacity(0.3);
    painter.drawPixmap(0, 0, image);
    painter.end();
    QIcon icon(image);
    icon.addPixmap(faded, QIcon::Disabled);
    return icon;
}

}  // namespace

TSKBrowserController::TSKBrowserController(QObject *parent)
    : TSKViewController(std::make_unique<TSKBrowserControllerPrivate>(), parent)
{
}

TSKBrowserControllerPrivate *TSKBrowserController::vars() const
{
    return static_cast<TSKBrowserControllerPrivate *>(privateData());
}

WebView *TSKBrowserController::webView() const
{
    return vars()->webView;
}

QToolBar *TSKBrowserController::toolbar() const
{
    return vars()->toolbar;
}

void TSKBrowserController::loadReferringURL(const QUrl &url, const QUrl &referringURL)
{
    if (url.isEmpty())
        return;
    if (!vars()->webView) {
        vars()->urlToLoad = url;
        vars()->referringURLToLoad = referringURL;
        return;
    }
    QNetworkRequest request(url);
    if (referringURL.isValid())
        request.setRawHeader("Referer", referringURL.toEncoded());
    vars()->webView->loadRequest(request);
}

void TSKBrowserController::load(const QUrl &url)
{
    loadReferringURL(url, QUrl());
}

void TSKBrowserController::viewWillAppear(bool animated)
{
    TSKViewController::viewWillAppear(animated);
    if (vars()->webView)
        return;
    buildWebView();
    if (vars()->urlToLoad.isValid()) {
        loadReferringURL(std::exchange(vars()->urlToLoad, QUrl()), std::exchange(vars()->referringURLToLoad, QUrl()));
    }
    buildToolbar();
    createToolbarButtons();
    refreshToolbar();
}

void TSKBrowserController::buildWebView()
{
    QWidget *screen = view();
    auto *webView = new WebView(screen);
    webView->setGeometry(0, 0, screen->width(), screen->height() - kToolbarHeight);
    // The page above the toolbar, whatever size the screen is given (a
    // program's own window, say).
    auto *layout = new QVBoxLayout(screen);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(webView, 1);
    webView->show();
    vars()->webView = webView;
    vars()->webViewDelegate = std::make_unique<TSKBrowserWebViewDelegate>(this);
    vars()->webViewDelegate->setViewController(this);
    webView->setDelegate(vars()->webViewDelegate.get());
}

void TSKBrowserController::buildToolbar()
{
    QWidget *screen = view();
    auto *toolbar = new QToolBar(screen);
    toolbar->setObjectName(QStringLiteral("browserToolbar"));
    toolbar->setGeometry(0, screen->height() - kToolbarHeight, screen->width(), kToolbarHeight);
    toolbar->setFixedHeight(kToolbarHeight);
    screen->layout()->addWidget(toolbar);
    toolbar->setMovable(false);
    toolbar->setIconSize(QSize(27, 27));
    toolbar->setStyleSheet(QStringLiteral("QToolBar { background: #101014; border: none; spacing: 0; }"
                                          "QToolButton { color: white; border: none; padding: 4px 6px; }"
                                          "QToolButton:disabled { color: #666; }"));
    toolbar->show();
    vars()->toolbar = toolbar;
}

QAction *TSKBrowserController::buttonWithImage(const QIcon &image, const QString &name, bool enabled,
                                               void (TSKBrowserController::*action)())
{
    auto *button = new QAction(image, name, vars()->toolbar);
    button->setObjectName(name);
    button->setEnabled(enabled);
    connect(button, &QAction::triggered, this, action);
    return button;
}

void TSKBrowserController::addFlexibleSpace()
{
    auto *space = new QWidget;
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    space->setAttribute(Qt::WA_TransparentForMouseEvents);
    vars()->toolbar->addWidget(space);
}

// In the toolbar's order; the reload button and the spinner share a slot.
void TSKBrowserController::createToolbarButtons()
{
    TSKBrowserControllerPrivate *v = vars();
    const QStyle *style = QApplication::style();
    v->backButton = buttonWithImage(withFadedDisabledState(TSKIntrinsicImages::browserBackButton()), QStringLiteral("Back"), false,
                                    &TSKBrowserController::back);
    v->forwardButton = buttonWithImage(withFadedDisabledState(TSKIntrinsicImages::browserForwardButton()), QStringLiteral("Forward"), false,
                                       &TSKBrowserController::forward);
    v->reloadButton = buttonWithImage(style->standardIcon(QStyle::SP_BrowserReload), QStringLiteral("Reload"), true,
                                      &TSKBrowserController::reload);
    v->openOutsideButton = buttonWithImage(QIcon(), QStringLiteral("Open in Browser"), false,
                                           &TSKBrowserController::openInBrowser);
    v->doneButton = buttonWithImage(QIcon(), QStringLiteral("Done"), true, &TSKBrowserController::relinquishScreen);
    v->spinner = new ActivityIndicator(ActivityIndicator::White);
    v->spinner->setObjectName(QStringLiteral("Spinner"));

    QToolBar *toolbar = v->toolbar;
    toolbar->addAction(v->backButton);
    addFlexibleSpace();
    toolbar->addAction(v->forwardButton);
    addFlexibleSpace();
    v->spinnerContainingButton = toolbar->addWidget(v->spinner);
    toolbar->addAction(v->reloadButton);
    addFlexibleSpace();
    toolbar->addAction(v->openOutsideButton);
    addFlexibleSpace();
    toolbar->addAction(v->doneButton);
}

void TSKBrowserController::refreshToolbar()
{
    TSKBrowserControllerPrivate *v = vars();
    if (!v->toolbar || !v->webView)
        return;
    v->backButton->setEnabled(v->webView->canGoBack());
    v->forwardButton->setEnabled(v->webView->canGoForward());
    const bool loading = v->webView->isLoading();
    v->spinnerContainingButton->setVisible(loading);
    v->reloadButton->setVisible(!loading);
    if (loading)
        v->spinner->startAnimating();
    else
        v->spinner->stopAnimating();
    v->openOutsideButton->setEnabled(!loading);
}

void TSKBrowserController::back()
{
    if (vars()->webView && vars()->webView->canGoBack())
        vars()->webView->goBack();
}

void TSKBrowserController::forward()
{
    if (vars()->webView && vars()->webView->canGoForward())
        vars()->webView->goForward();
}

void TSKBrowserController::reload()
{
    if (vars()->webView)
        vars()->webView->reload();
}

void TSKBrowserController::stop()
{
    if (vars()->webView)
        vars()->webView->stopLoading();
}

void TSKBrowserController::openInBrowser()
{
    if (!vars()->webView)
        return;
    // Lives with this screen: long enough to wait for click tracking.
    auto *opener = new TSKAppOpener(this);
    opener->setDelegateManager(delegateManager());
    opener->openApp(vars()->webView->requestURL());
    TSKStatistics::sharedStatistics()->setBreakOutToBrowser();
}
