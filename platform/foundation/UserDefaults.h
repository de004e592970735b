#pragma once

#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace Velmora::Platform {

// The application's key-value store. Values are property-list values
// (see PropertyList); each is kept as property-list XML in an INI file so
// numbers, booleans and dates come back with their types. synchronize()
// replaces the file atomically: a crash mid-write leaves the previous file.
class UserDefaults
{
public:
    // The array of the user's preferred languages, most preferred first.
    // Answered from the system locale unless the store holds its own.
    static const QString PreferredLanguagesKey;

    // One store per process in the application's config location.
    static UserDefaults &standard();
    static QString standardFilePath();

    explicit UserDefaults(const QString &filePath);
    ~UserDefaults();
    UserDefaults(const UserDefaults &) = delete;
    UserDefaults &operator=(const UserDefaults &) = delete;

    QString filePath() const;

    // An invalid QVariant when absent.
    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    QVariantList arrayForKey(const QString &key) const;
    QVariantMap dictionaryForKey(const QString &key) const;

    // An invalid value removes the key; a value without a property-list form
    // is refused with a warning and changes nothing.
    void setObjectForKey(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);

    // Writes pending changes and reads those other processes made. False when
    // the file could not be written.
    bool synchronize();

private:
    void openSettings();
    void loadValues();
    void replaceUnreadableFile();

    QString filePath_;
    std::unique_ptr<QSettings> settings_;
    QVariantMap values_;
};

}  // namespace Velmora::Platform
