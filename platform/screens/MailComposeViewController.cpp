#include "MailComposeViewController.h"

#include "Application.h"
#include "MailMessage.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace Velmora::Platform {

namespace {

const QString kErrorDomain = QStringLiteral("MailComposeErrorDomain");

QString joined(const QStringList &list)
{
    return list.join(QStringLiteral(", "));
}

}  // namespace

MailComposeViewController::MailComposeViewController(QObject *parent) : ViewController(parent)
{
    // The fields exist before the view is shown, so they can be filled first.
    view();
}

void MailComposeViewController::loadView()
{
    ViewController::loadView();
    QWidget *screen = view();
    screen->setObjectName(QStringLiteral("mailCompose"));
    screen->setAutoFillBackground(true);
    screen->setStyleSheet(QStringLiteral("#mailCompose { background: #f4f4f7; } QLabel { color: #555; }"
                                         "QLineEdit, QPlainTextEdit { background: white; color: black; }"
                                         "QPushButton { border: none; border-image: none; background: none; color: #0a64d8;"
                                         " font-size: 15px; padding: 6px; min-height: 0; }"));

    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    auto *send = new QPushButton(QStringLiteral("Send"));
    cancel->setObjectName(QStringLiteral("cancel"));
    send->setObjectName(QStringLiteral("send"));
    send->setDefault(true);
    auto *title = new QLabel(QStringLiteral("New Message"));
    title->setAlignment(Qt::AlignCenter);
    auto *bar = new QHBoxLayout;
    bar->addWidget(cancel);
    bar->addWidget(title, 1);
    bar->addWidget(send);

    auto *fields = new QFormLayout;
    fields->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    to_ = addressField(QStringLiteral("to"));
    cc_ = addressField(QStringLiteral("cc"));
    bcc_ = addressField(QStringLiteral("bcc"));
    subject_ = addressField(QStringLiteral("subject"));
    fields->addRow(QStringLiteral("To:"), to_);
    fields->addRow(QStringLiteral("Cc:"), cc_);
    fields->addRow(QStringLiteral("Bcc:"), bcc_);
    fields->addRow(QStringLiteral("Subject:"), subject_);
    body_ = new QPlainTextEdit;
    body_->setObjectName(QStringLiteral("body"));
    body_->setTabChangesFocus(true);

    auto *column = new QVBoxLayout(screen);
    column->setContentsMargins(8, 8, 8, 8);
    column->addLayout(bar);
    column->addLayout(fields);
    column->addWidget(body_, 1);
    const QList<QWidget *> order{to_, cc_, bcc_, subject_, body_, send, cancel};
    for (qsizetype i = 1; i < order.size(); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);

    connect(send, &QPushButton::clicked, this, &MailComposeViewController::send);
    connect(cancel, &QPushButton::clicked, this, &MailComposeViewController::cancel);
}

QLineEdit *MailComposeViewController::addressField(const QString &name)
{
    auto *field = new QLineEdit;
    field->setObjectName(name);
    return field;
}

void MailComposeViewController::setToRecipients(const QStringList &recipients)
{
    to_->setText(joined(recipients));
}

void MailComposeViewController::setCcRecipients(const QStringList &recipients)
{
    cc_->setText(joined(recipients));
}

void MailComposeViewController::setBccRecipients(const QStringList &recipients)
{
    bcc_->setText(joined(recipients));
}

void MailComposeViewController::setSubject(const QString &subject)
{
    subject_->setText(subject);
}

void MailComposeViewController::setMessageBody(const QString &body, bool)
{
    body_->setPlainText(body);
}

QStringList MailComposeViewController::toRecipients() const
{
    return MailMessage::addressesInText(to_->text());
}

QStringList MailComposeViewController::ccRecipients() const
{
    return MailMessage::addressesInText(cc_->text());
}

QStringList MailComposeViewController::bccRecipients() const
{
    return MailMessage::addressesInText(bcc_->text());
}

QString MailComposeViewController::subject() const
{
    return subject_->text();
}

QString MailComposeViewController::messageBody() const
{
    return body_->toPlainText();
}

QUrl MailComposeViewController::mailtoURL() const
{
    return MailMessage{toRecipients(), ccRecipients(), bccRecipients(), subject(), messageBody()}.mailtoURL();
}

void MailComposeViewController::send()
{
    if (Application::shared()->openURL(mailtoURL()))
        finish(MailComposeDelegate::Sent);
    else
        finish(MailComposeDelegate::Failed,
               Error::withMessage(kErrorDomain, 1, QStringLiteral("No mail program took the message.")));
}

void MailComposeViewController::cancel()
{
    finish(MailComposeDelegate::Cancelled);
}

void MailComposeViewController::finish(MailComposeDelegate::Result result, const std::optional<Error> &error)
{
    if (std::exchange(finished_, true))
        return;
    if (delegate_)
        delegate_->mailComposeControllerDidFinishWithResult(this, result, error);
}

}  // namespace Velmora::Platform
