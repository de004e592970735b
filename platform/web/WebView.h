#pragma once

#include "WebPageContent.h"

#include <QWebEngineView>

namespace Velmora::Platform {

// Web content drawn by a widget. It works without ever being shown, so it
// can also run pages nobody sees. Its page lives in the shared WebProfile.
class WebView : public QWebEngineView, public WebPageContent
{
    Q_OBJECT
public:
    explicit WebView(QWidget *parent = nullptr);
    ~WebView() override;

    using WebPageContent::reload;
    using WebPageContent::page;
    void deleteSoon() override;
    QObject *contentObject() override { return this; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

}  // namespace Velmora::Platform
