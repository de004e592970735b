#include "PersistentCookieJar.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkCookie>
#include <QSaveFile>
#include <QStandardPaths>

namespace Velmora::Platform {

PersistentCookieJar::PersistentCookieJar(QString filePath, QObject *parent)
    : QNetworkCookieJar(parent), filePath_(std::move(filePath))
{
    load();
}

QString PersistentCookieJar::defaultFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/cookies");
}

bool PersistentCookieJar::isKept(const QNetworkCookie &cookie)
{
    return !cookie.isSessionCookie() && cookie.expirationDate() > QDateTime::currentDateTimeUtc();
}

void PersistentCookieJar::load()
{
    QFile file(filePath_);
    if (!file.open(QIODevice::ReadOnly))
        return;
    QList<QNetworkCookie> cookies;
    while (!file.atEnd()) {
        for (const QNetworkCookie &cookie : QNetworkCookie::parseCookies(file.readLine().trimmed())) {
            if (isKept(cookie) && !cookie.domain().isEmpty())
                cookies.append(cookie);
        }
    }
    setAllCookies(cookies);
}

void PersistentCookieJar::setKeptOnDisk(bool kept)
{
    if (kept == keptOnDisk_)
        return;
    keptOnDisk_ = kept;
    if (kept) {
        save();
        return;
    }
    setAllCookies({});
    QFile::remove(filePath_);
}

void PersistentCookieJar::save() const
{
    if (!keptOnDisk_)
        return;
    QDir().mkpath(QFileInfo(filePath_).absolutePath());
    QSaveFile file(filePath_);
    if (!file.open(QIODevice::WriteOnly))
        return;
    for (const QNetworkCookie &cookie : allCookies()) {
        if (isKept(cookie))
            file.write(cookie.toRawForm(QNetworkCookie::Full) + '\n');
    }
    file.commit();
}

bool PersistentCookieJar::insertCookie(const QNetworkCookie &cookie)
{
    const bool changed = QNetworkCookieJar::insertCookie(cookie);
    if (changed)
        save();
    return changed;
}

bool PersistentCookieJar::updateCookie(const QNetworkCookie &cookie)
{
    const bool changed = QNetworkCookieJar::updateCookie(cookie);
    if (changed)
        save();
    return changed;
}

bool PersistentCookieJar::deleteCookie(const QNetworkCookie &cookie)
{
    const bool changed = QNetworkCookieJar::deleteCookie(cookie);
    if (changed)
        save();
    return changed;
}

}  // namespace Velmora::Platform
