#pragma once

#include <QString>
#include <QUrl>
#include <QWebEngineView>

// A web view with the phone's interface over Qt WebEngine. It works without
// ever being shown, so it can also run pages nobody sees.
class WebView : public QWebEngineView
{
    Q_OBJECT
public:
    explicit WebView(QWidget *parent = nullptr);

    // Makes the page-to-native bridge schemes ("tsmsg", "tiskos") known to the
    // web engine so that their navigations reach the view instead of being
    // handed to the desktop. Must run before the application object exists.
    static void registerSchemes();

    // Shows `html` as if it had been loaded from `baseURL`: relative links
    // resolve against it and the page's location is that URL.
    void loadHTMLString(const QString &html, const QUrl &baseURL);

    // Runs the script in the current page; the result is not waited for.
    void evaluateJavaScript(const QString &script);
};
