#pragma once

#include "Error.h"

#include <QUrl>
#include <optional>

class TSKCachedFile;

// All three are sent; a download ends in exactly one of the first two.
class TSKCachedFileDelegate
{
public:
    virtual ~TSKCachedFileDelegate() = default;

    // The file is current: a 200 body was written, or the server answered 304.
    virtual void cachedFileDownloadDidEnd(TSKCachedFile *file) = 0;
    // Empty error for an unusable status or a connection that could not be made.
    virtual void cachedFileDownloadDidFail(TSKCachedFile *file, const std::optional<Velmora::Platform::Error> &error) = 0;
    // Before each redirect; an error stops the download and is reported back.
    virtual std::optional<Velmora::Platform::Error> cachedFileShouldRedirectToURL(TSKCachedFile *file, const QUrl &url) = 0;
};
