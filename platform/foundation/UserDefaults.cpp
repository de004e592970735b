#include "UserDefaults.h"

#include "PropertyList.h"

#include <QDebug>
#include <QFile>
#include <QLocale>
#include <QSettings>
#include <QStandardPaths>

namespace Velmora::Platform {

const QString UserDefaults::PreferredLanguagesKey = QStringLiteral("AppleLanguages");

UserDefaults &UserDefaults::standard()
{
    static UserDefaults *const defaults = new UserDefaults(standardFilePath());
    return *defaults;
}

QString UserDefaults::standardFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QStringLiteral("/UserDefaults.ini");
}

UserDefaults::UserDefaults(const QString &filePath) : filePath_(filePath)
{
    openSettings();
    loadValues();
}

UserDefaults::~UserDefaults() = default;

QString UserDefaults::filePath() const
{
    return filePath_;
}

QVariant UserDefaults::objectForKey(const QString &key) const
{
    const auto it = values_.constFind(key);
    if (it != values_.cend())
        return it.value();
    if (key == PreferredLanguagesKey)
        return QVariant(QLocale::system().uiLanguages());
    return {};
}

QString UserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QVariantList UserDefaults::arrayForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    const bool isArray = value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
    return isArray ? value.toList() : QVariantList();
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
}

void UserDefaults::setObjectForKey(const QVariant &value, const QString &key)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    if (!PropertyList::isPropertyListValue(value)) {
        qWarning() << "UserDefaults: not a property-list value for key" << key << value;
        return;
    }
    values_.insert(key, value);
    settings_->setValue(key, QString::fromUtf8(PropertyList::toXml(value, PropertyList::Form::Fragment)));
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    values_.remove(key);
    settings_->remove(key);
}

bool UserDefaults::synchronize()
{
    settings_->sync();
    if (settings_->status() == QSettings::FormatError)
        replaceUnreadableFile();
    if (settings_->status() != QSettings::NoError)
        return false;
    loadValues();
    return true;
}

void UserDefaults::openSettings()
{
    settings_ = std::make_unique<QSettings>(filePath_, QSettings::IniFormat);
    // Writes go to a temporary file renamed over the old one, never in place.
    settings_->setAtomicSyncRequired(true);
    if (settings_->status() == QSettings::FormatError)
        qWarning() << "UserDefaults: unreadable store, starting from the entries that could be read" << filePath_;
}

// Keys whose text is not a property list are skipped, so one damaged entry
// does not cost the others.
void UserDefaults::loadValues()
{
    values_.clear();
    const QStringList keys = settings_->allKeys();
    for (const QString &key : keys) {
        const QVariant raw = settings_->value(key);
        if (raw.typeId() != QMetaType::QString)
            continue;
        std::optional<QVariant> value = PropertyList::fromXml(raw.toString().toUtf8());
        if (value)
            values_.insert(key, *value);
    }
}

// The settings layer never overwrites a file it cannot parse. The damaged file
// is kept beside the store for inspection and a fresh one holds the values.
void UserDefaults::replaceUnreadableFile()
{
    const QString aside = filePath_ + QStringLiteral(".unreadable");
    QFile::remove(aside);
    QFile::rename(filePath_, aside);
    const QVariantMap values = values_;
    openSettings();
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        settings_->setValue(it.key(), QString::fromUtf8(PropertyList::toXml(it.value(), PropertyList::Form::Fragment)));
    settings_->sync();
}

}  // namespace Velmora::Platform
