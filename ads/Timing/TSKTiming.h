#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <cstdint>
#include <optional>

// One measurement on the monotonic clock, with free key-value data that
// travels with it. Idle (start 0), running (start set, end 0) or ended.
class TSKTiming
{
public:
    explicit TSKTiming(const QString &category);

    // From the stored form; empty when the value is not a dictionary with a
    // string "category". Other fields of the wrong type read as 0 or absent.
    static std::optional<TSKTiming> fromDictionaryRepresentation(const QVariant &representation);

    // Seconds on the monotonic clock.
    static double counter();

    QString category() const;
    double startSeconds() const;
    double endSeconds() const;
    bool isActive() const;

    void start();
    // Ends a started timing (again, for an ended one); an idle one stays idle.
    void end();
    void reset();

    // Until now while running. Saturates to 0..4294967295, so a start stored
    // before a reboot, when the clock restarted lower, gives 0.
    uint32_t elapsedMilliseconds() const;
    QString elapsedMillisecondsString() const;

    // A null value is ignored and the key keeps its old value.
    void setValueForKey(const QVariant &value, const QString &key);
    QVariant valueForKey(const QString &key) const;
    void removeValueForKey(const QString &key);
    QVariantMap keysAndValues() const;

    QVariantMap dictionaryRepresentation() const;
    QString description() const;

private:
    QString category_;
    double startSeconds_ = 0;
    double endSeconds_ = 0;
    std::optional<QVariantMap> userData_;
};
