#pragma once

#include "ViewController/TSKViewController.h"

#include <QUrl>

class QAction;
class QPixmap;
class QToolBar;
class TSKBrowserControllerPrivate;
namespace Velmora::Platform {
class WebView;
}

// The full-screen browser in which a tapped ad's landing page opens without
// leaving the program: the page above a toolbar with back, forward, reload
// (a spinner while loading), "Open in Browser" and Done.
class TSKBrowserController : public TSKViewController
{
    Q_OBJECT
public:
    static constexpr int kToolbarHeight = 44;

    explicit TSKBrowserController(QObject *parent = nullptr);

    Velmora::Platform::WebView *webView() const;
    QToolBar *toolbar() const;

    // The first request carries the referring page as its Referer. Asked for
    // before the screen is built, the load waits until it appears.
    void loadReferringURL(const QUrl &url, const QUrl &referringURL);
    void load(const QUrl &url);

    void viewWillAppear(bool animated) override;

public slots:
    void back();
    void forward();
    void reload();
    void stop();
    // Hands the page to the desktop's browser, leaving the program.
    void openInBrowser();
    void refreshToolbar();

private:
    TSKBrowserControllerPrivate *vars() const;
    void buildWebView();
    void buildToolbar();
    void createToolbarButtons();
    QAction *buttonWithImage(const QIcon &image, const QString &name, bool enabled, void (TSKBrowserController::*action)());
    void addFlexibleSpace();
};
