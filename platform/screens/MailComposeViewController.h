#pragma once

#include "Error.h"
#include "ViewController.h"

#include <QPointer>
#include <QStringList>
#include <optional>

class QLineEdit;
class QPlainTextEdit;

namespace Velmora::Platform {

class MailComposeViewController;

// Hears how a compose screen ended. It is told once, and dismisses the screen.
class MailComposeDelegate
{
public:
    enum Result { Cancelled = 0, Saved = 1, Sent = 2, Failed = 3 };
    virtual ~MailComposeDelegate() = default;
    virtual void mailComposeControllerDidFinishWithResult(MailComposeViewController *controller, Result result,
                                                          const std::optional<Error> &error) = 0;
};

// An in-app screen to write a mail: to, cc, bcc, subject and a plain-text
// body, with Send and Cancel. Send hands a mailto: URL with those fields to
// the desktop's mail program.
class MailComposeViewController : public ViewController
{
    Q_OBJECT
public:
    explicit MailComposeViewController(QObject *parent = nullptr);

    MailComposeDelegate *mailComposeDelegate() const { return delegate_; }
    // Not owned.
    void setMailComposeDelegate(MailComposeDelegate *delegate) { delegate_ = delegate; }

    void setToRecipients(const QStringList &recipients);
    void setCcRecipients(const QStringList &recipients);
    void setBccRecipients(const QStringList &recipients);
    void setSubject(const QString &subject);
    // Only plain text is offered here; HTML bodies are shown as their source.
    void setMessageBody(const QString &body, bool isHTML);

    QStringList toRecipients() const;
    QStringList ccRecipients() const;
    QStringList bccRecipients() const;
    QString subject() const;
    QString messageBody() const;

    // The mailto: URL Send hands over.
    QUrl mailtoURL() const;

    void loadView() override;

public slots:
    void send();
    void cancel();

private:
    QLineEdit *addressField(const QString &name);
    void finish(MailComposeDelegate::Result result, const std::optional<Error> &error = std::nullopt);

    MailComposeDelegate *delegate_ = nullptr;
    QLineEdit *to_ = nullptr;
    QLineEdit *cc_ = nullptr;
    QLineEdit *bcc_ = nullptr;
    QLineEdit *subject_ = nullptr;
    QPlainTextEdit *body_ = nullptr;
    bool finished_ = false;
};

}  // namespace Velmora::Platform
