#pragma once

#include "WebContainment.h"
#include "WebContent.h"

#include <QHash>
#include <QQuickItem>

class QQmlEngine;
class QWebEngineLoadingInfo;
class QWebEngineNavigationRequest;

namespace Velmora::Platform {

// Web content drawn in a Qt Quick scene: an item holding the engine's
// WebEngineView, in the shared WebProfile's Qt Quick profile, filling it.
// The view's requests for windows, dialogs, files, permissions and menus get
// a no here, as the widgets' page gives them.
class QuickWebView : public QQuickItem, public WebContent
{
    Q_OBJECT
public:
    // The engine may still be loading the web engine's QML types while it
    // builds a scene: `then` runs (at once, or later unless `context` is
    // gone) once a view can be made in it.
    static void whenReady(QQmlEngine *engine, QObject *context, std::function<void()> then);
    // The view is made in `engine`, which must outlive this item; see whenReady.
    QuickWebView(QQmlEngine *engine, QQuickItem *parent);
    ~QuickWebView() override;

    void deleteSoon() override;
    QObject *contentObject() override { return this; }
    using WebContent::reload;

    bool canGoBack() const override;
    bool canGoForward() const override;
    QString userAgent() const override;
    QSizeF contentsSize() const override;
    qint64 renderProcessPid() const override;
    void ping(std::function<void(bool answered)> answered) override;
    void setTransparent();
    // Out of sight and out of reach, or back. By opacity, never by
    // visibility: Qt 6.4's view whose renderer ends while it is invisible
    // crashes the program as it drops its drawing, which makes the drawing
    // visible again and calls into what the renderer's end destroyed.
    void setShown(bool shown);

    // Called by the view.
    Q_INVOKABLE void refuse(const QString &what, const QString &detail);
    Q_INVOKABLE void rendererEnded(int status, int exitCode);
    Q_INVOKABLE void answered(int question, bool answer);

protected:
    bool childMouseEventFilter(QQuickItem *item, QEvent *event) override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;
    void engineLoad(const QWebEngineHttpRequest &request) override;
    void engineSetContent(const QByteArray &html, const QUrl &baseURL) override;
    void engineRunJavaScript(const QString &script) override;
    void engineTrigger(Action action) override;
    QUrl engineURL() const override;

private slots:
    void navigationRequested(QWebEngineNavigationRequest *request);
    void loadingChanged(const QWebEngineLoadingInfo &info);

private:
    QQuickItem *view();
    void connectView();

    QQmlEngine *engine_;
    QQuickItem *view_ = nullptr;
    bool transparent_ = false;
    bool shown_ = true;
    WebContainment containment_;
    QHash<int, std::function<void(bool)>> questions_;
    int lastQuestion_ = 0;
};

}  // namespace Velmora::Platform
