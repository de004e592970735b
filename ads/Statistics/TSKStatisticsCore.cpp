#include "Statistics/TSKStatisticsCore.h"

#include "UserDefaults.h"

#include <cmath>

using namespace Velmora::Platform;

TSKStatisticsCore::TSKStatisticsCore(const QString &identifier) : identifier_(identifier)
{
    statistics_.insert(UserDefaults::standard().dictionaryForKey(userDefaultsKey()));
}

TSKStatisticsCore::~TSKStatisticsCore()
{
    synchronize();
}

QString TSKStatisticsCore::identifier() const
{
    return identifier_;
}

QString TSKStatisticsCore::userDefaultsKey() const
{
    return QStringLiteral("tiskos_stats_%1").arg(identifier_);
}

QVariant TSKStatisticsCore::numberForKey(const QString &key) const
{
    return statistics_.value(key);
}

QVariant TSKStatisticsCore::stringForKey(const QString &key) const
{
    return statistics_.value(key);
}

QVariant TSKStatisticsCore::dateForKey(const QString &key) const
{
    return statistics_.value(key);
}

QVariant TSKStatisticsCore::arrayForKey(const QString &key) const
{
    return statistics_.value(key);
}

QVariant TSKStatisticsCore::dictionaryForKey(const QString &key) const
{
    return statistics_.value(key);
}

void TSKStatisticsCore::setNumberForKey(const QVariant &value, const QString &key)
{
    setObjectForKeyMatchingClass(value, key, Kind::Number);
}

void TSKStatisticsCore::setStringForKey(const QVariant &value, const QString &key)
{
    setObjectForKeyMatchingClass(value, key, Kind::String);
}

void TSKStatisticsCore::setDateForKey(const QVariant &value, const QString &key)
{
    setObjectForKeyMatchingClass(value, key, Kind::Date);
}

void TSKStatisticsCore::setArrayForKey(const QVariant &value, const QString &key)
{
    setObjectForKeyMatchingClass(value, key, Kind::Array);
}

void TSKStatisticsCore::setDictionaryForKey(const QVariant &value, const QString &key)
{
    setObjectForKeyMatchingClass(value, key, Kind::Dictionary);
}

qint64 TSKStatisticsCore::integerValue(const QVariant &value)
{
    if (!isOfKind(value, Kind::Number))
        return 0;
    const double number = value.toDouble();
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
        return std::isfinite(number) && std::fabs(number) < 9.2e18 ? qint64(number) : 0;
    return value.toLongLong();
}

qint64 TSKStatisticsCore::addValueNumberForKey(qint64 value, const QString &key)
{
    const qint64 sum = integerValue(statistics_.value(key)) + value;
    setNumberForKey(sum, key);
    return sum;
}

void TSKStatisticsCore::removeObjectForKey(const QString &key)
{
    statistics_.remove(key);
}

void TSKStatisticsCore::removeAllObjects()
{
    statistics_.clear();
}

void TSKStatisticsCore::synchronize()
{
    if (!persistent_)
        return;
    UserDefaults &defaults = UserDefaults::standard();
    defaults.setObjectForKey(statistics_, userDefaultsKey());
    defaults.synchronize();
}

void TSKStatisticsCore::setPersistent(bool persistent)
{
    if (persistent == persistent_)
        return;
    if (!persistent) {
        statistics_.clear();
        synchronize();
    }
    persistent_ = persistent;
    synchronize();
}

bool TSKStatisticsCore::isOfKind(const QVariant &value, Kind kind)
{
    const int type = value.typeId();
    switch (kind) {
    case Kind::Number:
        return type == QMetaType::Bool || type == QMetaType::Double || type == QMetaType::Float
            || type == QMetaType::Int || type == QMetaType::UInt || type == QMetaType::LongLong
            || type == QMetaType::ULongLong;
    case Kind::String:
        return type == QMetaType::QString;
    case Kind::Date:
        return type == QMetaType::QDateTime;
    case Kind::Array:
        return type == QMetaType::QVariantList || type == QMetaType::QStringList;
    case Kind::Dictionary:
        return type == QMetaType::QVariantMap;
    }
    return false;
}

void TSKStatisticsCore::setObjectForKeyMatchingClass(const QVariant &value, const QString &key, Kind kind)
{
    if (isOfKind(value, kind))
        statistics_.insert(key, value);
}
