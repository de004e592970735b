#pragma once

#include "URLConnectionDelegate.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantMap>
#include <memory>
#include <optional>

class TSKCachedFileDelegate;
namespace Velmora::Platform {
class URLConnection;
}

// One URL downloaded into a file in the caches directory and revalidated
// with If-Modified-Since, so an unchanged resource is not fetched again.
// The file outlives the object: a later object for the same URL finds it.
// A body longer than the file's maximum fails the download like a broken
// connection, and leaves the earlier file as it was.
class TSKCachedFile : public QObject, private Velmora::Platform::URLConnectionDelegate
{
    Q_OBJECT
public:
    static constexpr qsizetype kDefaultMaximumBytes = 1024 * 1024;

    // The delegate is not owned and must outlive the object or be cleared.
    TSKCachedFile(TSKCachedFileDelegate *delegate, const QUrl &url, QObject *parent = nullptr);
    ~TSKCachedFile() override;

    TSKCachedFileDelegate *delegate() const { return delegate_; }
    void setDelegate(TSKCachedFileDelegate *delegate) { delegate_ = delegate; }

    const QUrl &sourceURL() const { return sourceURL_; }
    const QUrl &httpDestinationURL() const { return httpDestinationURL_; }
    int httpStatusCode() const { return httpStatusCode_; }
    const QVariantMap &httpHeaders() const { return httpHeaders_; }
    qsizetype maximumBytes() const { return maximumBytes_; }
    void setMaximumBytes(qsizetype bytes) { maximumBytes_ = bytes; }

    // Both do nothing while a download runs.
    void validate();
    void validateWithCacheBuster();
    // Stops the download without a callback.
    void cancel();
    // Stops the download and deletes the file.
    void invalidate();

    bool hasContent() const;
    QString content() const;  // null when missing or not UTF-8
    QString filePath() const;
    QString fileModificationDate() const;  // null when the file is missing
    QString description() const;

private:
    void beginFetchWithCacheBuster(bool cacheBuster);
    void saveHeadersFromResponse(const Velmora::Platform::URLResponse &response);
    void cleanUpConnection();
    void writeReceivedData();
    static void setFileTimes(const QString &path, const QString &modificationDate);

    QNetworkRequest connectionWillSendRequest(Velmora::Platform::URLConnection *connection, const QNetworkRequest &request,
                                              const std::optional<Velmora::Platform::URLResponse> &redirectResponse) override;
    void connectionDidReceiveResponse(Velmora::Platform::URLConnection *connection, const Velmora::Platform::URLResponse &response) override;
    void connectionDidReceiveData(Velmora::Platform::URLConnection *connection, const QByteArray &data) override;
    void connectionDidFinishLoading(Velmora::Platform::URLConnection *connection) override;
    void connectionDidFailWithError(Velmora::Platform::URLConnection *connection, const Velmora::Platform::Error &error) override;

    TSKCachedFileDelegate *delegate_;
    QUrl sourceURL_;
    mutable QString filePath_;
    std::unique_ptr<Velmora::Platform::URLConnection> connection_;
    QByteArray receivedData_;
    QString receivedModificationDate_;
    QUrl httpDestinationURL_;
    int httpStatusCode_ = 0;
    QVariantMap httpHeaders_;
    qsizetype maximumBytes_ = kDefaultMaximumBytes;
};
