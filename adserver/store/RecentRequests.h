#pragma once

#include "privacy/ConsentFilter.h"
#include "store/CountStore.h"

#include <QJsonArray>
#include <QString>

#include <chrono>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

// The latest ad requests as /stats lists them: this server's, kept as sent
// until they are stored, and through the store every server's. What a
// request's consent does not allow to keep is dropped before it is stored or
// listed, and a request keeps at most parameterBytes of parameters. At most
// `capacity` wait here; the store keeps the newest `capacity` of all servers
// and none older than `retentionDays` (0: any age).
class RecentRequests
{
public:
    static constexpr qsizetype parameterBytes = 4096;
    // How often the list is trimmed by age when nothing new came.
    static constexpr auto trimInterval = std::chrono::minutes(1);

    RecentRequests(int capacity, int retentionDays, int vendorId);

    // Any thread: `query` as sent, decoded when stored or listed.
    void add(qint64 id, const QString &unit, std::string_view query, const QString &creative);
    // The group commit's thread: stores what waits, then rereads the list.
    void sync(CountStore &store);
    // Oldest first.
    QJsonArray toJson() const;

private:
    struct Waiting
    {
        qint64 id;
        qint64 timeMs;
        QString unit;
        QString creative;
        std::string query;
    };

    static CountStore::Request format(const Waiting &request, ConsentFilter &consent);
    qint64 oldestKeptMs() const;

    const int capacity_;
    const int retentionDays_;
    ConsentFilter storedConsent_;  // the group commit's thread only
    mutable std::mutex mutex_;
    mutable ConsentFilter listedConsent_;  // under mutex_
    std::deque<Waiting> waiting_;
    CountStore::Requests stored_;
    std::chrono::steady_clock::time_point trimmedAt_;
};
