#pragma once

#include "Error.h"
#include "URLResponse.h"

#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>

class QNetworkAccessManager;

namespace Velmora::Platform {

class URLConnectionDelegate;

// An asynchronous GET over the process's one network access manager, on the
// GUI thread's event loop. Redirects are followed here rather than by Qt, so
// the delegate sees each one and may decline it. Local caches are never
// consulted, cookies go through the persistent jar, and no User-Agent is
// added unless the request carries one.
//
// Only the web goes on the wire: a request or redirect to any scheme but
// http and https fails as an unsupported URL, after the delegate has seen it
// (a redirect to an application link is how a click finds its program). A
// fetch has one deadline from its start to its last byte, redirects included,
// so a server that drips its answer cannot keep it open.
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
        DataLengthExceedsMaximum = -1103,
    };

    static constexpr int maximumRedirects = 16;
    static constexpr int defaultDeadlineMilliseconds = 30000;

    static bool isWebURL(const QUrl &url);
    static Error makeError(ErrorCode code, const QString &description, const QUrl &url);

    // The deadline of connections started from now on (tests shorten it).
    static int deadlineMilliseconds();
    static void setDeadlineMilliseconds(int milliseconds);

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
    void deadlinePassed();
    static bool isTransportFailure(QNetworkReply::NetworkError code);

    URLConnectionDelegate *delegate_;
    QNetworkRequest request_;
    QPointer<QNetworkReply> reply_;
    QTimer deadline_;
    int redirects_ = 0;
    bool responseDelivered_ = false;
    bool done_ = false;
};

}  // namespace Velmora::Platform
