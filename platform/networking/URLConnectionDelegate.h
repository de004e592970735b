#pragma once

#include "Error.h"
#include "URLResponse.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <optional>


namespace Velmora::Platform {

class URLConnection;

// Every method is optional. A connection calls exactly one of
// connectionDidFinishLoading and connectionDidFailWithError, unless it is
// cancelled first; after either, it calls nothing more.
class URLConnectionDelegate
{
public:
    virtual ~URLConnectionDelegate() = default;

    // Before each request goes out: the first one (no redirect response) and
    // every redirect. Returning a request without a valid URL declines the
    // redirect, and the redirect response becomes the final response.
    virtual QNetworkRequest connectionWillSendRequest(URLConnection *, const QNetworkRequest &request,
                                                      const std::optional<URLResponse> &)
    {
        return request;
    }
    virtual void connectionDidReceiveResponse(URLConnection *, const URLResponse &) {}
    virtual void connectionDidReceiveData(URLConnection *, const QByteArray &) {}
    virtual void connectionDidFinishLoading(URLConnection *) {}
    virtual void connectionDidFailWithError(URLConnection *, const Error &) {}
};

}  // namespace Velmora::Platform
