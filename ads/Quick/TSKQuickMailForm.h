#pragma once

#include "MailMessage.h"
#include "Quick/TSKQuickScreen.h"

// The mail form drawn in Qt Quick: to, cc, bcc, subject and a plain-text
// body, filled from an ad's mailto: link. Send hands the mail to the
// desktop's mail program; Send and Cancel close the form.
class TSKQuickMailForm : public TSKQuickScreen
{
    Q_OBJECT
public:
    TSKQuickMailForm(QQmlEngine *engine, const Velmora::Platform::MailMessage &message);

    // As the fields read now.
    Velmora::Platform::MailMessage message() const;

    Q_INVOKABLE void send();
    Q_INVOKABLE void cancel();

private:
    QQuickItem *chrome_ = nullptr;
};
