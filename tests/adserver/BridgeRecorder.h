#pragma once

#include <QList>
#include <QUrl>
#include <QUrlQuery>
#include <QWebEnginePage>

// A web page that refuses and records what an app embedding it would
// intercept: tsmsg: bridge messages and mailto: links.
class BridgeRecorder : public QWebEnginePage
{
    Q_OBJECT

public:
    struct Message
    {
        QString name;
        QUrlQuery query;
        QString value(const QString &key) const { return query.queryItemValue(key, QUrl::FullyDecoded); }
    };

    explicit BridgeRecorder(QObject *parent = nullptr);

    static void registerSchemes();

    QList<QUrl> intercepted;
    QStringList consoleErrors;

    QList<Message> messages() const;
    QList<Message> messagesNamed(const QString &name) const;

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override;
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel level, const QString &message, int line,
                                  const QString &source) override;
};
