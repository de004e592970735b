#include "WebView.h"

#include <QWebEngineUrlScheme>

WebView::WebView(QWidget *parent) : QWebEngineView(parent)
{
}

void WebView::registerSchemes()
{
    for (const QByteArray &name : {QByteArrayLiteral("tsmsg"), QByteArrayLiteral("tiskos")}) {
        if (!QWebEngineUrlScheme::schemeByName(name).name().isEmpty())
            continue;
        QWebEngineUrlScheme scheme(name);
        // Path syntax keeps the URL exactly as the page wrote it; the bridge
        // reads path, host and query itself.
        scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
        QWebEngineUrlScheme::registerScheme(scheme);
    }
}

void WebView::loadHTMLString(const QString &html, const QUrl &baseURL)
{
    setHtml(html, baseURL);
}

void WebView::evaluateJavaScript(const QString &script)
{
    page()->runJavaScript(script);
}
