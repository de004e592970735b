#pragma once

#include "Opener/TSKScreenPresenter.h"

#include <QPointer>
#include <QQuickItem>

class QQmlEngine;
class QQuickWindow;
class TSKQuickScreen;

// Draws what an ad's tap opens in Qt Quick: over the window of the item it
// is made for, or over that item itself when it is one of the library's
// screens. A screen whose place is taken is refused before it is announced.
class TSKQuickPresenter : public TSKScreenPresenter
{
public:
    explicit TSKQuickPresenter(QQuickItem *from) : from_(from) {}

    void presentBrowser(const QUrl &url, const QUrl &referrer,
                        const std::shared_ptr<TSKDelegateManager> &delegateManager) override;
    void presentWebApp(const QUrl &url, const QString &html,
                       const std::shared_ptr<TSKDelegateManager> &delegateManager) override;
    void presentMailForm(const Velmora::Platform::MailMessage &message) override;

private:
    QQuickWindow *window() const;
    TSKQuickScreen *over() const;
    QQmlEngine *engine() const;
    bool placeIsFree() const;

    QPointer<QQuickItem> from_;
};
