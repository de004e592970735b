#pragma once

#include <QStringList>
#include <QUrl>

namespace Velmora::Platform {

// A mail as a compose screen shows it, however the screen is drawn.
struct MailMessage
{
    QStringList to;
    QStringList cc;
    QStringList bcc;
    QString subject;
    // Plain text.
    QString body;

    // The mailto: URL that hands this mail to the desktop's mail program.
    QUrl mailtoURL() const;
    // The addresses in a field's text: split at commas, trimmed, blanks dropped.
    static QStringList addressesInText(const QString &text);
};

}  // namespace Velmora::Platform
