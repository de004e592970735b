#pragma once

#include <QNetworkCookieJar>
#include <QString>

namespace Velmora::Platform {

// Cookies that outlive the process: every change is written atomically to a
// file, which the next process reads back. Session cookies and expired ones
// are not kept on disk, and none at all while the jar is told not to.
class PersistentCookieJar : public QNetworkCookieJar
{
    Q_OBJECT
public:
    explicit PersistentCookieJar(QString filePath, QObject *parent = nullptr);

    // The file in the application's data location.
    static QString defaultFilePath();

    bool insertCookie(const QNetworkCookie &cookie) override;
    bool updateCookie(const QNetworkCookie &cookie) override;
    bool deleteCookie(const QNetworkCookie &cookie) override;

    bool isKeptOnDisk() const { return keptOnDisk_; }
    // Off forgets every cookie and deletes the file; later cookies then live
    // in memory only. On writes what the jar holds.
    void setKeptOnDisk(bool kept);

private:
    void load();
    void save() const;
    static bool isKept(const QNetworkCookie &cookie);

    QString filePath_;
    bool keptOnDisk_ = true;
};

}  // namespace Velmora::Platform
