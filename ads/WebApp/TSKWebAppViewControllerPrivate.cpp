#include "WebApp/TSKWebAppViewControllerPrivate.h"

#include "ActivityIndicator.h"
#include "WebApp/TSKWebAppWebViewDelegate.h"
#include "WebView.h"

#include <QPushButton>

TSKWebAppViewControllerPrivate::TSKWebAppViewControllerPrivate() = default;

TSKWebAppViewControllerPrivate::~TSKWebAppViewControllerPrivate()
{
    if (webView)
        webView->setDelegate(nullptr);
}
