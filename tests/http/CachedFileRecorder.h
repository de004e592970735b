#pragma once

#include "Network/TSKCachedFile.h"
#include "Network/TSKCachedFileDelegate.h"

#include <QList>
#include <QUrl>

// Writes down what a cached file reports and refuses the redirects it is told to.
class CachedFileRecorder : public TSKCachedFileDelegate
{
public:
    void cachedFileDownloadDidEnd(TSKCachedFile *) override { ++ended; }
    void cachedFileDownloadDidFail(TSKCachedFile *, const std::optional<Error> &error) override
    {
        failures.append(error);
    }
    std::optional<Error> cachedFileShouldRedirectToURL(TSKCachedFile *, const QUrl &url) override
    {
        redirectURLs.append(url);
        if (url == refusedURL)
            return refusal;
        return std::nullopt;
    }

    int endings() const { return ended + int(failures.size()); }

    int ended = 0;
    QList<std::optional<Error>> failures;
    QList<QUrl> redirectURLs;
    QUrl refusedURL;
    Error refusal{QStringLiteral("TestDomain"), 7, {}};
};
