#pragma once

#include <QString>
#include <QUrl>
#include <memory>

class TSKDelegateManager;
namespace Velmora::Platform {
struct MailMessage;
}

// Draws the full-screen ads a tap opens where the program has no view
// controllers to present them over (a Qt Quick program). The opener still
// decides what opens and whether it may; this only draws it.
class TSKScreenPresenter
{
public:
    virtual ~TSKScreenPresenter() = default;

    // The in-app browser at `url`, its first request referred by `referrer`.
    virtual void presentBrowser(const QUrl &url, const QUrl &referrer,
                                const std::shared_ptr<TSKDelegateManager> &delegateManager) = 0;
    // The web app screen at `url`, or showing `html` at about:blank when
    // `html` is not null.
    virtual void presentWebApp(const QUrl &url, const QString &html,
                               const std::shared_ptr<TSKDelegateManager> &delegateManager) = 0;
    virtual void presentMailForm(const Velmora::Platform::MailMessage &message) = 0;
};
