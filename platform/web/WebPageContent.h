#pragma once

#include "WebContent.h"
#include "WebPage.h"

#include <QPointer>

namespace Velmora::Platform {

// Web content whose engine is a page of its own (a widget's, or one with no
// view at all): what it asks the engine goes to that page.
class WebPageContent : public WebContent
{
public:
    WebPage *page() const { return page_; }

    bool canGoBack() const override;
    bool canGoForward() const override;
    QString userAgent() const override;
    QSizeF contentsSize() const override;
    qint64 renderProcessPid() const override;
    void ping(std::function<void(bool answered)> answered) override;

protected:
    WebPageContent();
    ~WebPageContent() override;

    void engineLoad(const QWebEngineHttpRequest &request) override;
    void engineSetContent(const QByteArray &html, const QUrl &baseURL) override;
    void engineRunJavaScript(const QString &script) override;
    void engineTrigger(Action action) override;
    QUrl engineURL() const override;

private:
    // Leftover pages go before the engine winds down (WebProfile), even
    // with their content still there.
    QPointer<WebPage> page_;
};

}  // namespace Velmora::Platform
