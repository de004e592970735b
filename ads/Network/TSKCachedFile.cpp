#include "Network/TSKCachedFile.h"

#include "HTTPDate.h"
#include "Network/TSKCachedFileDelegate.h"
#include "URLConnection.h"
#include "Utility/TSKNetworkUtilities.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSaveFile>
#include <QStandardPaths>
#include <QStringDecoder>
#include <sys/time.h>

using namespace Velmora::Platform;

namespace {

// Seconds between 1970 and the reference date of absolute times, 1 January 2001.
constexpr double referenceDateOffset = 978307200.0;

// FNV-1a: stable across processes and Qt versions, unlike qHash.
quint64 stableHash(const QByteArray &text)
{
    quint64 hash = 14695981039346656037ull;
    for (const char byte : text) {
        hash ^= quint8(byte);
        hash *= 1099511628211ull;
    }
    return hash;
}

Error writeError(const QSaveFile &file, const QString &path)
{
    const bool denied = file.error() == QFileDevice::OpenError || file.error() == QFileDevice::PermissionsError;
    Error error = Error::withMessage(QStringLiteral("NSCocoaErrorDomain"), denied ? 513 : 512,
                                           QStringLiteral("The file could not be saved: %1").arg(file.errorString()));
    error.userInfo.insert(QStringLiteral("filePath"), path);
    return error;
}

}  // namespace

TSKCachedFile::TSKCachedFile(TSKCachedFileDelegate *delegate, const QUrl &url, QObject *parent)
    : QObject(parent), delegate_(delegate), sourceURL_(url), httpDestinationURL_(url)
{
}

TSKCachedFile::~TSKCachedFile()
{
    delegate_ = nullptr;
    cleanUpConnection();
}

void TSKCachedFile::validate()
{
    if (!connection_)
        beginFetchWithCacheBuster(false);
}

void TSKCachedFile::validateWithCacheBuster()
{
    if (!connection_)
        beginFetchWithCacheBuster(true);
}

void TSKCachedFile::cancel()
{
    cleanUpConnection();
}

void TSKCachedFile::invalidate()
{
    cleanUpConnection();
    if (!filePath().isEmpty())
        QFile::remove(filePath());
}

bool TSKCachedFile::hasContent() const
{
    return !filePath().isEmpty() && QFileInfo::exists(filePath());
}

QString TSKCachedFile::content() const
{
    QFile file(filePath());
    if (filePath().isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(file.readAll());
    if (decoder.hasError())
        return {};
    return text.isNull() ? QStringLiteral("") : text;
}

QString TSKCachedFile::filePath() const
{
    if (filePath_.isEmpty()) {
        const QString caches = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
        if (caches.isEmpty())
            return {};
        const QString relative = sourceURL_.host() + QStringLiteral("/%1").arg(stableHash(sourceURL_.toEncoded()), 0, 16);
        filePath_ = QDir::cleanPath(caches + QLatin1Char('/') + relative);
    }
    return filePath_;
}

QString TSKCachedFile::fileModificationDate() const
{
    const QFileInfo info(filePath());
    if (filePath().isEmpty() || !info.exists())
        return {};
    return HTTPDate::format(info.fileTime(QFileDevice::FileModificationTime));
}

QString TSKCachedFile::description() const
{
    const QString url = sourceURL_.isEmpty() ? QStringLiteral("(null)") : sourceURL_.toString();
    const QString path = filePath().isEmpty() ? QStringLiteral("(null)") : filePath();
    return QString::asprintf("<TSKCachedFile: %p> HTTP code: %i\n\turl: %s\n\tfile: %s", static_cast<const void *>(this),
                             httpStatusCode_, qUtf8Printable(url), qUtf8Printable(path));
}

void TSKCachedFile::beginFetchWithCacheBuster(bool cacheBuster)
{
    QUrl url = sourceURL_;
    if (cacheBuster) {
        const double now = QDateTime::currentMSecsSinceEpoch() / 1000.0 - referenceDateOffset;
        url = TSKNetworkUtilities::appendQueryKeyValueToURL(QStringLiteral("unique"), QString::asprintf("%.0f", now), url);
    }
    QNetworkRequest request(url);
    const QString userAgent = TSKNetworkUtilities::userAgentString();
    if (!userAgent.isEmpty())
        request.setRawHeader("User-Agent", userAgent.toUtf8());
    const QString modificationDate = fileModificationDate();
    if (!modificationDate.isNull())
        request.setRawHeader("If-Modified-Since", modificationDate.toLatin1());

    connection_ = URLConnection::connectionWithRequest(request, this);
    if (!connection_) {
        if (delegate_)
            delegate_->cachedFileDownloadDidFail(this, std::nullopt);
        return;
    }
    receivedData_ = QByteArray();
}

void TSKCachedFile::saveHeadersFromResponse(const URLResponse &response)
{
    httpStatusCode_ = response.statusCode();
    httpHeaders_ = response.allHeaderFields();
}

void TSKCachedFile::cleanUpConnection()
{
    if (connection_)
        connection_->cancel();
    connection_.reset();
    receivedData_ = QByteArray();
    receivedModificationDate_ = QString();
}

QNetworkRequest TSKCachedFile::connectionWillSendRequest(URLConnection *, const QNetworkRequest &request,
                                                         const std::optional<URLResponse> &redirectResponse)
{
    httpDestinationURL_ = request.url();
    if (!redirectResponse)
        return request;
    saveHeadersFromResponse(*redirectResponse);
    QPointer<TSKCachedFile> alive(this);
    const std::optional<Error> refusal =
        delegate_ ? delegate_->cachedFileShouldRedirectToURL(this, request.url()) : std::nullopt;
    if (refusal && alive) {
        cleanUpConnection();
        if (delegate_)
            delegate_->cachedFileDownloadDidFail(this, refusal);
    }
    return request;
}

void TSKCachedFile::connectionDidReceiveResponse(URLConnection *, const URLResponse &response)
{
    if (response.statusCode() != 0)
        saveHeadersFromResponse(response);
    QPointer<TSKCachedFile> alive(this);
    if (httpStatusCode_ == 200) {
        receivedModificationDate_ = HTTPDate::withoutZone(response.valueForHeaderField(u"Last-Modified"));
    } else if (httpStatusCode_ == 304) {
        if (delegate_)
            delegate_->cachedFileDownloadDidEnd(this);
        if (alive)
            cleanUpConnection();
    } else {
        if (delegate_)
            delegate_->cachedFileDownloadDidFail(this, std::nullopt);
        if (alive)
            cleanUpConnection();
    }
    if (alive && connection_)
        receivedData_.clear();
}

void TSKCachedFile::connectionDidReceiveData(URLConnection *, const QByteArray &data)
{
    if (receivedData_.size() + data.size() <= maximumBytes_) {
        receivedData_.append(data);
        return;
    }
    cleanUpConnection();
    if (delegate_)
        delegate_->cachedFileDownloadDidFail(
            this, URLConnection::makeError(URLConnection::DataLengthExceedsMaximum,
                                           QStringLiteral("The body is longer than %1 bytes.").arg(maximumBytes_),
                                           httpDestinationURL_));
}

void TSKCachedFile::connectionDidFinishLoading(URLConnection *)
{
    QPointer<TSKCachedFile> alive(this);
    writeReceivedData();
    if (alive)
        cleanUpConnection();
}

void TSKCachedFile::writeReceivedData()
{
    const QString path = filePath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    const bool written = !path.isEmpty() && file.open(QIODevice::WriteOnly)
                         && file.write(receivedData_) == receivedData_.size() && file.commit();
    if (!written) {
        if (delegate_)
            delegate_->cachedFileDownloadDidFail(this, writeError(file, path));
        return;
    }
    // The delegate may release this object; the file times are still due.
    const QString modificationDate = receivedModificationDate_;
    if (delegate_)
        delegate_->cachedFileDownloadDidEnd(this);
    setFileTimes(path, modificationDate);
}

void TSKCachedFile::setFileTimes(const QString &path, const QString &modificationDate)
{
    const std::optional<QDateTime> date = HTTPDate::parse(modificationDate);
    if (!date)
        return;
    const timeval times[2] = {{time_t(date->toSecsSinceEpoch()), 0}, {time_t(date->toSecsSinceEpoch()), 0}};
    ::utimes(QFile::encodeName(path).constData(), times);
}

void TSKCachedFile::connectionDidFailWithError(URLConnection *, const Error &error)
{
    cleanUpConnection();
    if (delegate_)
        delegate_->cachedFileDownloadDidFail(this, error);
}
