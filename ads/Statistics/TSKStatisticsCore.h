#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// Counters and flags of the ad statistics, kept as one dictionary in the
// standard user defaults under "tiskos_stats_<identifier>". Saved on
// synchronize() and on destruction only, and only while persistent.
class TSKStatisticsCore
{
public:
    explicit TSKStatisticsCore(const QString &identifier);
    ~TSKStatisticsCore();
    TSKStatisticsCore(const TSKStatisticsCore &) = delete;
    TSKStatisticsCore &operator=(const TSKStatisticsCore &) = delete;

    QString identifier() const;
    QString userDefaultsKey() const;

    // Whatever is stored under the key, unchecked.
    QVariant numberForKey(const QString &key) const;
    QVariant stringForKey(const QString &key) const;
    QVariant dateForKey(const QString &key) const;
    QVariant arrayForKey(const QString &key) const;
    QVariant dictionaryForKey(const QString &key) const;

    // Each stores the value only when it is of the named kind.
    void setNumberForKey(const QVariant &value, const QString &key);
    void setStringForKey(const QVariant &value, const QString &key);
    void setDateForKey(const QVariant &value, const QString &key);
    void setArrayForKey(const QVariant &value, const QString &key);
    void setDictionaryForKey(const QVariant &value, const QString &key);

    // A stored number as an integer, fractions cut off; 0 for anything else.
    static qint64 integerValue(const QVariant &value);

    // Adds to the integer under the key (0 when absent) and returns the sum.
    qint64 addValueNumberForKey(qint64 value, const QString &key);

    void removeObjectForKey(const QString &key);
    void removeAllObjects();
    void synchronize();

    bool isPersistent() const { return persistent_; }
    // Off forgets every value, in memory and in the user defaults, and saves
    // nothing until it is on again.
    void setPersistent(bool persistent);

private:
    enum class Kind { Number, String, Date, Array, Dictionary };
    static bool isOfKind(const QVariant &value, Kind kind);
    void setObjectForKeyMatchingClass(const QVariant &value, const QString &key, Kind kind);

    QString identifier_;
    QVariantMap statistics_;
    bool persistent_ = true;
};
