#include "WebPageContent.h"

#include "WebPage.h"

#include <QWebEngineHistory>
#include <QWebEngineHttpRequest>
#include <QWebEngineProfile>

namespace Velmora::Platform {

WebPageContent::WebPageContent() : page_(new WebPage(this)) {}

// The page must go before the content that it calls back.
WebPageContent::~WebPageContent()
{
    forgetDelegate();
    delete page_;
}

void WebPageContent::engineLoad(const QWebEngineHttpRequest &request)
{
    page_->load(request);
}

void WebPageContent::engineSetContent(const QByteArray &html, const QUrl &baseURL)
{
    page_->setHTML(html, baseURL);
}

void WebPageContent::engineRunJavaScript(const QString &script)
{
    page_->runJavaScript(script);
}

void WebPageContent::engineTrigger(Action action)
{
    page_->trigger(int(action));
}

QUrl WebPageContent::engineURL() const
{
    return page_->url();
}

bool WebPageContent::canGoBack() const
{
    return page_->history()->canGoBack();
}

bool WebPageContent::canGoForward() const
{
    return page_->history()->canGoForward();
}

QString WebPageContent::userAgent() const
{
    return page_->profile()->httpUserAgent();
}

QSizeF WebPageContent::contentsSize() const
{
    return page_->contentsSize();
}

qint64 WebPageContent::renderProcessPid() const
{
    return page_->renderProcessPid();
}

void WebPageContent::ping(std::function<void(bool)> answered)
{
    page_->ping(std::move(answered));
}

}  // namespace Velmora::Platform
