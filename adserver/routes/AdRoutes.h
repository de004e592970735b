#pragma once

#include "store/GroupCommit.h"
#include "transport/Reply.h"

#include <QByteArray>
#include <QString>
#include <QUrlQuery>

#include <chrono>
#include <functional>

class AdStats;
class CoreScript;
class CreativeCatalogue;
class FaultInjector;
class HttpRequest;
class ServerOptions;
class StaticFiles;

// What each URL of the ad server answers:
//   /tiskos/sdk-core-v40.js  the core script (304 when unchanged)
//   /ad?slotname=...         an ad request: 302 to an ad page, 400, or an empty no-fill page
//   /page/<creative>         the ad page
//   /click/<creative>        a click-through: 302 to the landing page or application link
//   /track/<event>           impression and click trackers: 200 once counted, 503 when they cannot be
//   /stats                   counters and the latest ad requests as JSON, rebuilt at most once per interval
//   /healthz                 200 while the server serves
//   /readyz                  200 while counts can be stored, else 503
//   anything else            a file of the site directory
class AdRoutes
{
public:
    AdRoutes(const ServerOptions &options, const FaultInjector &faults, CreativeCatalogue &catalogue,
             const CoreScript &script, const StaticFiles &files, AdStats &stats);

    Reply handle(const HttpRequest &request);
    // The server's own http://host:port, put into every link; a client's Host header never is.
    void setBaseUrl(const QByteArray &baseUrl) { base_ = baseUrl; }

private:
    Reply adRequest(const QUrlQuery &query, const QByteArray &base);
    Reply adPage(const QString &creativeId, const QUrlQuery &query, const QByteArray &base) const;
    Reply clickThrough(const QString &creativeId, const QUrlQuery &query, const QByteArray &base);
    Reply track(const QString &event, const QUrlQuery &query);
    Reply statsPage();
    Reply readiness() const;
    // Answers `reply` once `record` has stored its count, 503 if it cannot.
    Reply afterCounting(Reply reply, std::function<void(GroupCommit::Done)> record) const;
    Reply redirectLoop(QUrlQuery query, const QByteArray &base) const;
    Reply noFill() const;

    bool nextRequestFills();
    void addRefreshRate(Reply &reply) const;

    const ServerOptions &options_;
    const FaultInjector &faults_;
    CreativeCatalogue &catalogue_;
    const CoreScript &script_;
    const StaticFiles &files_;
    AdStats &stats_;
    QByteArray base_;
    qint64 fillDecisions_ = 0;
    QByteArray statsSnapshot_;
    std::chrono::steady_clock::time_point statsBuiltAt_;
};
