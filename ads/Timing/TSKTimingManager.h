#pragma once

#include "Timing/TSKTiming.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <vector>

// Named timings kept in the standard user defaults under
// "tiskos_timing_<identifier>", so a measurement can span a restart. Saved on
// synchronize(), when the application will terminate, and on destruction,
// while persistent.
class TSKTimingManager : public QObject
{
    Q_OBJECT
public:
    explicit TSKTimingManager(const QString &identifier, QObject *parent = nullptr);
    ~TSKTimingManager() override;

    // The timings of a stored form, each under its key in the stored
    // dictionary (not under its own category); entries that are not
    // timings are skipped.
    static std::map<QString, std::unique_ptr<TSKTiming>> timingsFromStoredForm(const QVariant &stored);

    QString identifier() const;
    QString userDefaultsKey() const;

    // Replaces any timing of the same category.
    void addTiming(const TSKTiming &timing);
    // The new timing, owned by the manager.
    TSKTiming *addTimingWithCategory(const QString &category);
    TSKTiming *timingForCategory(const QString &category) const;

    void removeTimingForCategory(const QString &category);
    void removeTiming(const TSKTiming *timing);
    void removeTimingsForCategories(const QStringList &categories);
    void removeAllTimings();

    QStringList categories() const;
    std::vector<TSKTiming *> timings() const;

    void synchronize();

    bool isPersistent() const { return persistent_; }
    // Off forgets every timing, in memory and in the user defaults, and saves
    // nothing until it is on again.
    void setPersistent(bool persistent);

public slots:
    void savePersistentTimings();

private:
    void loadPersistentTimings();

    QString identifier_;
    std::map<QString, std::unique_ptr<TSKTiming>> timings_;
    bool persistent_ = true;
};
