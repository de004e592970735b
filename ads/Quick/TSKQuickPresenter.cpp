#include "Quick/TSKQuickPresenter.h"

#include "Quick/TSKQuickBrowser.h"
#include "Quick/TSKQuickMailForm.h"
#include "Quick/TSKQuickWebApp.h"

#include <QQmlEngine>
#include <QQuickWindow>

QQuickWindow *TSKQuickPresenter::window() const
{
    return from_ ? from_->window() : nullptr;
}

TSKQuickScreen *TSKQuickPresenter::over() const
{
    return qobject_cast<TSKQuickScreen *>(from_.data());
}

QQmlEngine *TSKQuickPresenter::engine() const
{
    return qmlEngine(from_);
}

bool TSKQuickPresenter::placeIsFree() const
{
    return engine() && TSKQuickScreen::canPresent(window(), over());
}

void TSKQuickPresenter::presentBrowser(const QUrl &url, const QUrl &referrer,
                                       const std::shared_ptr<TSKDelegateManager> &delegateManager)
{
    if (!placeIsFree())
        return;
    auto *browser = new TSKQuickBrowser(engine(), delegateManager);
    browser->loadReferringURL(url, referrer);
    browser->present(window(), over());
}

void TSKQuickPresenter::presentWebApp(const QUrl &url, const QString &html,
                                      const std::shared_ptr<TSKDelegateManager> &delegateManager)
{
    if (!placeIsFree())
        return;
    auto *webApp = new TSKQuickWebApp(engine(), delegateManager);
    if (html.isNull())
        webApp->load(url);
    else
        webApp->loadHTML(html);
    webApp->present(window(), over());
}

void TSKQuickPresenter::presentMailForm(const Velmora::Platform::MailMessage &message)
{
    if (!placeIsFree())
        return;
    auto *form = new TSKQuickMailForm(engine(), message);
    form->present(window(), over());
}
