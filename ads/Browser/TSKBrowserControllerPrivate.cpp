#include "Browser/TSKBrowserControllerPrivate.h"

#include "Browser/TSKBrowserWebViewDelegate.h"
#include "WebView.h"

TSKBrowserControllerPrivate::TSKBrowserControllerPrivate() = default;

TSKBrowserControllerPrivate::~TSKBrowserControllerPrivate()
{
    if (webView)
        webView->setDelegate(nullptr);
}
