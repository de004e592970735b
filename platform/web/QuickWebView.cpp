#include "QuickWebView.h"

#include "QmlComponentCache.h"
#include "WebProfile.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWebEngineProfile>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineNavigationRequest>

namespace Velmora::Platform {

namespace {

// Every request that would reach past the page is answered here, before the
// engine's own dialogs or menus could open.
const char *const kViewSource = R"(
import QtQuick
import QtWebEngine
WebEngineView {
    required property QtObject host
    function ask(question) { runJavaScript("0", (answer) => host.answered(question, answer !== undefined)) }
    onRenderProcessTerminated: (status, exitCode) => host.rendererEnded(status, exitCode)
    onNewWindowRequested: (request) => host.refuse("a new window", request.requestedUrl)
    onJavaScriptDialogRequested: (request) => {
        request.accepted = true
        request.dialogReject()
        host.refuse(["an alert", "a confirmation", "a prompt", "a leave"][request.type], request.message)
    }
    onFileDialogRequested: (request) => { request.accepted = true; request.dialogReject(); host.refuse("a file", url) }
    onColorDialogRequested: (request) => { request.accepted = true; request.dialogReject(); host.refuse("a colour", url) }
    onAuthenticationDialogRequested: (request) => { request.accepted = true; request.dialogReject(); host.refuse("a login", request.url) }
    onContextMenuRequested: (request) => { request.accepted = true }
    onTooltipRequested: (request) => { request.accepted = true }
    onTouchSelectionMenuRequested: (request) => { request.accepted = true }
    onFeaturePermissionRequested: (origin, feature) => { grantFeaturePermission(origin, feature, false); host.refuse("a permission", origin) }
    onFullScreenRequested: (request) => request.reject()
    onRegisterProtocolHandlerRequested: (request) => request.reject()
    onFileSystemAccessRequested: (request) => request.reject()
    onQuotaRequested: (request) => request.reject()
    onJavaScriptConsoleMessage: {}
}
)";

QQmlComponent *viewComponent(QQmlEngine *engine)
{
    return QmlComponentCache::component(engine, QUrl(QStringLiteral("qrc:/velmora/QuickWebView.qml")), kViewSource);
}

}  // namespace

void QuickWebView::whenReady(QQmlEngine *engine, QObject *context, std::function<void()> then)
{
    QQmlComponent *component = viewComponent(engine);
    if (component->isReady()) {
        then();
        return;
    }
    auto waiting = std::make_shared<QMetaObject::Connection>();
    *waiting = QObject::connect(component, &QQmlComponent::statusChanged, context,
                                [waiting, then = std::move(then)](QQmlComponent::Status status) {
                                    if (status != QQmlComponent::Ready)
                                        return;
                                    QObject::disconnect(*waiting);
                                    then();
                                });
}

QuickWebView::QuickWebView(QQmlEngine *engine, QQuickItem *parent) : QQuickItem(parent), engine_(engine)
{
    setFlag(ItemHasContents, false);
    setFiltersChildMouseEvents(true);
}

// Made on first use: a list's delegate that is never seen never loads, and
// costs no view of the engine's.
QQuickItem *QuickWebView::view()
{
    if (view_)
        return view_;
    QObject *made = viewComponent(engine_)->createWithInitialProperties(
        {{QStringLiteral("host"), QVariant::fromValue<QObject *>(this)},
         {QStringLiteral("profile"), QVariant::fromValue(WebProfile::sharedQuick())}});
    view_ = qobject_cast<QQuickItem *>(made);
    view_->setParent(this);
    view_->setParentItem(this);
    view_->setSize(size());
    if (transparent_)
        view_->setProperty("backgroundColor", QColor(Qt::transparent));
    WebContainment::closeOffTheDesktop(view_->property("settings").value<QObject *>());
    connectView();
    return view_;
}

QuickWebView::~QuickWebView()
{
    forgetDelegate();
    // The view must go before the content that it calls back.
    delete view_;
}

void QuickWebView::connectView()
{
    const QMetaObject *viewType = view_->metaObject();
    const QMetaObject *ownType = metaObject();
    for (const char *signature :
         {"navigationRequested(QWebEngineNavigationRequest*)", "loadingChanged(QWebEngineLoadingInfo)"}) {
        const QMetaMethod signal = viewType->method(viewType->indexOfSignal(signature));
        const QMetaMethod slot = ownType->method(ownType->indexOfSlot(signature));
        if (!connect(view_, signal, this, slot))
            qFatal("QuickWebView: the engine's view has no %s", signature);
    }
}

void QuickWebView::setTransparent()
{
    transparent_ = true;
    if (view_)
        view_->setProperty("backgroundColor", QColor(Qt::transparent));
}

void QuickWebView::setShown(bool shown)
{
    shown_ = shown;
    setOpacity(shown ? 1 : 0);
}

void QuickWebView::deleteSoon()
{
    forgetDelegate();
    setShown(false);
    setParentItem(nullptr);
    if (WebProfile::isProgramLeaving())
        delete this;
    else
        deleteLater();
}

void QuickWebView::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (view_)
        view_->setSize(newGeometry.size());
}

// Presses that really reach the page pass through here; a script cannot
// make one. A page out of sight gets none.
bool QuickWebView::childMouseEventFilter(QQuickItem *, QEvent *event)
{
    if (!shown_)
        return true;
    if (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::TouchBegin)
        userPressed();
    return false;
}

void QuickWebView::navigationRequested(QWebEngineNavigationRequest *request)
{
    if (shouldStartLoad(request->url(), navigationTypeFromEngine(request->navigationType()), request->isMainFrame()))
        request->accept();
    else
        request->reject();
}

void QuickWebView::loadingChanged(const QWebEngineLoadingInfo &info)
{
    engineLoadingChanged(info);
}

// Heard once the engine has finished with the ended renderer: the view may
// be reloaded in reply, which it must not be from inside that signal.
void QuickWebView::rendererEnded(int status, int exitCode)
{
    QMetaObject::invokeMethod(this, [this, status, exitCode] { engineRendererTerminated(status, exitCode); },
                              Qt::QueuedConnection);
}

void QuickWebView::refuse(const QString &what, const QString &detail)
{
    containment_.logRefusal(what, detail);
}

void QuickWebView::ping(std::function<void(bool)> answered)
{
    if (!view_) {
        answered(false);
        return;
    }
    questions_.insert(++lastQuestion_, std::move(answered));
    QMetaObject::invokeMethod(view_, "ask", Q_ARG(QVariant, lastQuestion_));
}

void QuickWebView::answered(int question, bool answer)
{
    if (const std::function<void(bool)> call = questions_.take(question))
        call(answer);
}

// The view takes no headers: only the Referer travels, by its own way.
void QuickWebView::engineLoad(const QWebEngineHttpRequest &request)
{
    view()->setProperty("url", request.url());
}

void QuickWebView::engineSetContent(const QByteArray &html, const QUrl &baseURL)
{
    QMetaObject::invokeMethod(view(), "loadHtml", Q_ARG(QString, QString::fromUtf8(html)), Q_ARG(QUrl, baseURL));
}

void QuickWebView::engineRunJavaScript(const QString &script)
{
    QMetaObject::invokeMethod(view(), "runJavaScript", Q_ARG(QString, script));
}

void QuickWebView::engineTrigger(Action action)
{
    static const char *const methods[] = {"goBack", "goForward", "reload", "stop"};
    if (view_)
        QMetaObject::invokeMethod(view_, methods[int(action)]);
}

QUrl QuickWebView::engineURL() const
{
    return view_ ? view_->property("url").toUrl() : QUrl();
}

bool QuickWebView::canGoBack() const
{
    return view_ && view_->property("canGoBack").toBool();
}

bool QuickWebView::canGoForward() const
{
    return view_ && view_->property("canGoForward").toBool();
}

QString QuickWebView::userAgent() const
{
    return WebProfile::sharedQuick()->httpUserAgent();
}

QSizeF QuickWebView::contentsSize() const
{
    return view_ ? view_->property("contentsSize").toSizeF() : QSizeF();
}

qint64 QuickWebView::renderProcessPid() const
{
    return view_ ? view_->property("renderProcessPid").toLongLong() : 0;
}

}  // namespace Velmora::Platform
