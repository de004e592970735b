#include "URLConnection.h"

#include "PersistentCookieJar.h"
#include "URLConnectionDelegate.h"

#include <QNetworkAccessManager>

namespace Velmora::Platform {

const QString URLConnection::errorDomain = QStringLiteral("NSURLErrorDomain");

namespace {

int deadline = URLConnection::defaultDeadlineMilliseconds;

}  // namespace

int URLConnection::deadlineMilliseconds()
{
    return deadline;
}

void URLConnection::setDeadlineMilliseconds(int milliseconds)
{
    deadline = milliseconds;
}

bool URLConnection::isWebURL(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https");
}

std::unique_ptr<URLConnection> URLConnection::connectionWithRequest(const QNetworkRequest &request,
                                                                    URLConnectionDelegate *delegate)
{
    if (!request.url().isValid() || request.url().isRelative())
        return nullptr;
    return std::unique_ptr<URLConnection>(new URLConnection(request, delegate));
}

URLConnection::URLConnection(const QNetworkRequest &request, URLConnectionDelegate *delegate)
    : delegate_(delegate), request_(request)
{
    deadline_.setSingleShot(true);
    connect(&deadline_, &QTimer::timeout, this, &URLConnection::deadlinePassed);
    deadline_.start(deadline);
    QMetaObject::invokeMethod(this, [this] { send(request_, std::nullopt); }, Qt::QueuedConnection);
}

URLConnection::~URLConnection()
{
    dropReply();
}

QNetworkAccessManager *URLConnection::sharedManager()
{
    // Lives as long as the process, like the phone's shared session.
    static QNetworkAccessManager *manager = [] {
        auto *created = new QNetworkAccessManager;
        created->setCookieJar(new PersistentCookieJar(PersistentCookieJar::defaultFilePath()));
        return created;
    }();
    return manager;
}

void URLConnection::cancel()
{
    done_ = true;
    dropReply();
}

void URLConnection::deadlinePassed()
{
    if (done_)
        return;
    fail(makeError(TimedOut, QStringLiteral("The fetch did not end within %1 ms.").arg(deadline_.interval()),
                   request_.url()));
}

void URLConnection::dropReply()
{
    if (!reply_)
        return;
    // Deleting a running reply stops its transfer; abort() would also report
    // an error Qt may be about to report itself.
    reply_->disconnect(this);
    reply_->deleteLater();
    reply_.clear();
}

void URLConnection::send(const QNetworkRequest &request, const std::optional<URLResponse> &redirectResponse)
{
    if (done_)
        return;
    QPointer<URLConnection> alive(this);
    QNetworkRequest next = delegate_ ? delegate_->connectionWillSendRequest(this, request, redirectResponse) : request;
    if (!alive || done_)
        return;
    if (!next.url().isValid()) {
        if (redirectResponse)
            finishWithDeclinedRedirect(*redirectResponse);
        else
            fail(makeError(UnsupportedURL, QStringLiteral("unsupported URL"), request.url()));
        return;
    }
    if (!isWebURL(next.url())) {
        fail(makeError(UnsupportedURL, QStringLiteral("Only http and https are fetched."), next.url()));
        return;
    }

    request_ = next;
    request_.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request_.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request_.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    reply_ = sharedManager()->get(request_);
    connect(reply_, &QNetworkReply::metaDataChanged, this, &URLConnection::onMetaDataChanged);
    connect(reply_, &QNetworkReply::readyRead, this, &URLConnection::onReadyRead);
    connect(reply_, &QNetworkReply::finished, this, &URLConnection::onFinished);
}

// A declined redirect's own response is the answer.
void URLConnection::finishWithDeclinedRedirect(const URLResponse &response)
{
    QPointer<URLConnection> alive(this);
    responseDelivered_ = true;
    if (delegate_)
        delegate_->connectionDidReceiveResponse(this, response);
    if (!alive || done_)
        return;
    done_ = true;
    if (delegate_)
        delegate_->connectionDidFinishLoading(this);
}

URLResponse URLConnection::responseOfReply() const
{
    const QVariant status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    return URLResponse(reply_->url(), status.isValid() ? status.toInt() : 0, reply_->rawHeaderPairs());
}

void URLConnection::onMetaDataChanged()
{
    if (responseDelivered_ || done_)
        return;
    const URLResponse response = responseOfReply();
    if (response.isRedirect() && followRedirect(response))
        return;
    deliverResponse();
}

bool URLConnection::followRedirect(const URLResponse &response)
{
    const QString location = response.valueForHeaderField(u"Location");
    const QUrl target = response.url().resolved(QUrl(location));
    if (location.isEmpty() || !target.isValid())
        return false;

    dropReply();
    if (++redirects_ > maximumRedirects) {
        fail(makeError(HTTPTooManyRedirects, QStringLiteral("too many HTTP redirects"), response.url()));
        return true;
    }
    QNetworkRequest next = request_;
    next.setUrl(target);
    send(next, response);
    return true;
}

void URLConnection::deliverResponse()
{
    responseDelivered_ = true;
    QPointer<URLConnection> alive(this);
    const URLResponse response = responseOfReply();
    if (delegate_)
        delegate_->connectionDidReceiveResponse(this, response);
    if (alive && !done_ && reply_ && reply_->bytesAvailable() > 0)
        onReadyRead();
}

void URLConnection::onReadyRead()
{
    if (!responseDelivered_ || done_ || !reply_)
        return;
    const QByteArray data = reply_->readAll();
    if (!data.isEmpty() && delegate_)
        delegate_->connectionDidReceiveData(this, data);
}

void URLConnection::onFinished()
{
    if (done_ || !reply_)
        return;
    QPointer<URLConnection> alive(this);
    if (isTransportFailure(reply_->error())) {
        fail(errorOfReply());
        return;
    }
    if (!responseDelivered_) {
        onMetaDataChanged();
        if (!alive || done_ || !responseDelivered_)
            return;
    }
    onReadyRead();
    if (!alive || done_)
        return;
    done_ = true;
    dropReply();
    if (delegate_)
        delegate_->connectionDidFinishLoading(this);
}

void URLConnection::fail(const Error &error)
{
    done_ = true;
    dropReply();
    if (delegate_)
        delegate_->connectionDidFailWithError(this, error);
}

bool URLConnection::isTransportFailure(QNetworkReply::NetworkError code)
{
    // Errors Qt derives from an HTTP status are answers, not failures.
    return (code > QNetworkReply::NoError && code < QNetworkReply::ContentAccessDenied)
           || code == QNetworkReply::ProtocolUnknownError || code == QNetworkReply::ProtocolFailure;
}

Error URLConnection::errorOfReply() const
{
    const QString description = reply_->errorString();
    switch (reply_->error()) {
    case QNetworkReply::ConnectionRefusedError:
        return makeError(CannotConnectToHost, description, reply_->url());
    case QNetworkReply::RemoteHostClosedError:
        return makeError(NetworkConnectionLost, description, reply_->url());
    case QNetworkReply::HostNotFoundError:
        return makeError(CannotFindHost, description, reply_->url());
    case QNetworkReply::TimeoutError:
        return makeError(TimedOut, description, reply_->url());
    case QNetworkReply::ProtocolUnknownError:
        return makeError(UnsupportedURL, description, reply_->url());
    case QNetworkReply::ProtocolFailure:
        return makeError(BadServerResponse, description, reply_->url());
    default:
        return makeError(UnknownError, description, reply_->url());
    }
}

Error URLConnection::makeError(ErrorCode code, const QString &description, const QUrl &url)
{
    return Error{errorDomain, code,
                    {{Error::LocalizedDescriptionKey, description}, {Error::FailingURLKey, url.toString()}}};
}

}  // namespace Velmora::Platform
