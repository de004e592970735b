#pragma once

#include "Error.h"
#include "URLResponse.h"

#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <memory>

class QNetworkAccessManager;
class URLConnectionDelegate;

// An asynchronous GET over the process's one network access manager, on the
// GUI thread's event loop. Redirects are followed here rather than by Qt, so
// the delegate sees each one and may decline it. Local caches are never
// consulted, cookies go through the persistent jar, and no User-Agent is
// added unless the request carries one.
class URLConnection : public QObject
{
    Q_OBJECT
public:
    static const QString errorDomain;

    enum ErrorCode {
        UnknownError = -1,
        TimedOut = -1001,
        UnsupportedURL = -1002,
        CannotFindHost = -1003,
        CannotConnectToHost = -1004,
        NetworkConnectionLost = -1005,
        HTTPTooManyRedirects = -1007,
        BadServerResponse = -1011,
    };

    static constexpr int maximumRedirects = 16;
    static constexpr int timeoutMilliseconds = 60000;

    // Starts on the next turn of the event loop; null for a request without
    // a valid URL. The delegate must outlive the connection or cancel it.
    static std::unique_ptr<URLConnection> connectionWithRequest(const QNetworkRequest &request,
                                                                URLConnectionDelegate *delegate);
    ~URLConnection() override;

    // No callback follows, not even from a callback in progress.
    void cancel();

    static QNetworkAccessManager *sharedManager();

private:
    URLConnection(const QNetworkRequest &request, URLConnectionDelegate *delegate);

    void send(const QNetworkRequest &request, const std::optional<URLResponse> &redirectResponse);
    void onMetaDataChanged();
    void onReadyRead();
    void onFinished();
    bool followRedirect(const URLResponse &response);
    void finishWithDeclinedRedirect(const URLResponse &response);
    void deliverResponse();
    void fail(const Error &error);
    void dropReply();

    URLResponse responseOfReply() const;
    Error errorOfReply() const;
    static bool isTransportFailure(QNetworkReply::NetworkError code);
    static Error makeError(ErrorCode code, const QString &description, const QUrl &url);

    URLConnectionDelegate *delegate_;
    QNetworkRequest request_;
    QPointer<QNetworkReply> reply_;
    int redirects_ = 0;
    bool responseDelivered_ = false;
    bool done_ = false;
};
