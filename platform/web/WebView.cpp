#include "WebView.h"

#include "WebPage.h"
#include "WebProfile.h"

#include <QChildEvent>

namespace Velmora::Platform {

WebView::WebView(QWidget *parent) : QWebEngineView(parent)
{
    setPage(page());
    setContextMenuPolicy(Qt::NoContextMenu);
    // The engine paints and takes input in a child widget it makes later.
    installEventFilter(this);
}

// The page goes first (WebPageContent), before the view it paints in.
WebView::~WebView() = default;

bool WebView::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ChildAdded:
        if (watched == this)
            static_cast<QChildEvent *>(event)->child()->installEventFilter(this);
        break;
    case QEvent::MouseButtonPress:
    case QEvent::TouchBegin:
        userPressed();
        break;
    default:
        break;
    }
    return QWebEngineView::eventFilter(watched, event);
}

void WebView::deleteSoon()
{
    forgetDelegate();
    hide();
    setParent(nullptr);
    if (WebProfile::isProgramLeaving())
        delete this;
    else
        deleteLater();
}

}  // namespace Velmora::Platform
