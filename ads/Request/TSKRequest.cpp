#include <VelmoraAds/TSKRequest.h>

#include "Request/TSKRequestPrivate.h"

std::unique_ptr<TSKRequest> TSKRequest::request()
{
    return std::make_unique<TSKRequestPrivate>();
}

QString TSKRequest::sdkVersion()
{
    static const QString version = QString::asprintf("tiskos-sdk-i-v%d.%d.%d", 4, 0, 2);
    return version;
}
