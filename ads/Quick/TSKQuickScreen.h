#pragma once

#include <QPointer>
#include <QPropertyAnimation>
#include <QQuickItem>
#include <memory>

class QPixmap;
class QQmlEngine;
class QQuickWindow;
class TSKScreenLifecycle;

namespace Velmora::Platform {
class QuickWebView;
}

// A screen drawn in Qt Quick over all of a window's content, or over another
// such screen: above whatever the program stacks there, taking every press,
// sliding up as it opens and down as it closes, and keeping itself alive
// until it has closed or its window goes. A screen under another is hidden
// meanwhile. An ad's screens go through the lifecycle every ad screen
// shares; the mail form has none, as its widget counterpart has none.
class TSKQuickScreen : public QQuickItem
{
    Q_OBJECT
public:
    // A screen opens over a window none covers yet, or over a screen none
    // covers yet; elsewhere it is refused before it is announced.
    static bool canPresent(QQuickWindow *window, TSKQuickScreen *over);
    ~TSKQuickScreen() override;

    QQmlEngine *engine() const { return engine_; }
    // Null for a screen that is no full-screen period of an ad.
    TSKScreenLifecycle *lifecycle() const { return lifecycle_.get(); }
    bool isClosing() const { return closing_; }

    // Over `window`'s content, or over `over` when given; once, after canPresent.
    void present(QQuickWindow *window, TSKQuickScreen *over);
    // Done, the close button, Cancel, the page's "close". Closing a screen
    // closes any opened over it; it deletes itself once out of sight.
    Q_INVOKABLE void relinquishScreen();

protected:
    TSKQuickScreen(QQmlEngine *engine, std::unique_ptr<TSKScreenLifecycle> lifecycle);

    // Each appearance, the first and each return from a screen opened over
    // it, and each disappearance.
    virtual void screenDidAppear() {}
    virtual void screenDidDisappear() {}
    // `source` with the spinner the chromes share, `component Spinner`, in
    // place of the line "/* Spinner */"; its `running` shows and turns it.
    static QByteArray withSpinner(const char *source);
    // One of the library's pictures over the chrome's item named `place`.
    void showPicture(const QQuickItem *chrome, const char *place, const QPixmap &picture);
    // The QML that draws the screen, `source` made in the engine with `this`
    // as its `screen`; it fills the screen.
    QQuickItem *makeChrome(const QUrl &name, const char *source, QVariantMap properties = {});
    // A web view that fills the chrome's item `page`, whatever its size.
    Velmora::Platform::QuickWebView *makePageView(QQuickItem *chrome);

    void mousePressEvent(QMouseEvent *event) override;
    void touchEvent(QTouchEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void followWindow(QQuickItem *content);
    void slide(bool in);
    void slid();
    void appeared();
    void disappeared();
    void setCovered(bool covered);

    QQmlEngine *engine_;
    std::unique_ptr<TSKScreenLifecycle> lifecycle_;
    QPointer<TSKQuickScreen> under_;
    QPointer<TSKQuickScreen> over_;
    // Where the keyboard was before the screen opened, given back after. Held
    // as an object: it may be the web engine's own item, whose type C++ casts
    // cannot check.
    QPointer<QObject> focusBefore_;
    QPropertyAnimation slide_;
    bool closing_ = false;
};
