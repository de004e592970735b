#pragma once

#include "Error.h"

#include <QNetworkRequest>


namespace Velmora::Platform {

class WebContent;

// What a web view asks and tells the code that drives it. Every navigation
// the page starts (any frame, any scheme the web view knows) is offered to
// webViewShouldStartLoad first; a navigation it refuses never happens. A load
// ends in did-finish or did-fail, unless it is stopped or replaced by a newer
// one, which ends it without a word.
class WebViewDelegate
{
public:
    enum NavigationType { LinkClicked = 0, FormSubmitted = 1, BackForward = 2, Reload = 3, Other = 5 };

    virtual ~WebViewDelegate() = default;

    // The request carries the URL and the User-Agent the engine sends.
    virtual bool webViewShouldStartLoad(WebContent *webView, const QNetworkRequest &request, NavigationType type)
    {
        Q_UNUSED(webView) Q_UNUSED(request) Q_UNUSED(type)
        return true;
    }
    virtual void webViewDidStartLoad(WebContent *webView) { Q_UNUSED(webView) }
    virtual void webViewDidFinishLoad(WebContent *webView) { Q_UNUSED(webView) }
    virtual void webViewDidFailLoadWithError(WebContent *webView, const Error &error)
    {
        Q_UNUSED(webView) Q_UNUSED(error)
    }
};

}  // namespace Velmora::Platform
