#pragma once

#include "routes/CreativeCatalogue.h"
#include "routes/Route.h"
#include "store/GroupCommit.h"
#include "transport/Reply.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class AdStats;
class CoreScript;
class FaultInjector;
class HttpRequest;
class ServerMetrics;
class ServerOptions;
class StaticFiles;

// What each URL of the ad server answers:
//   /tiskos/sdk-core-v40.js  the core script (304 when unchanged)
//   /ad?slotname=...         an ad request: 302 to an ad page, 400, or an empty no-fill page
//   /page/<creative>         the ad page
//   /click/<creative>        a click-through: 302 to the landing page or application link
//   /track/<event>           impression and click trackers: 200 once counted, 503 when they cannot be
//   /stats                   counters and the latest ad requests as JSON, rebuilt at most once per interval
//   /metrics                 the same counts for a monitoring scraper (answered by the server itself)
//   /                        the operator's dashboard
//   /healthz                 200 while the server serves
//   /readyz                  200 while counts can be stored, else 503
//   anything else            a file of the site directory
class AdRoutes
{
public:
    AdRoutes(const ServerOptions &options, const FaultInjector &faults, CreativeCatalogue &catalogue,
             const CoreScript &script, const StaticFiles &files, AdStats &stats, ServerMetrics &metrics);

    Reply handle(Route route, const HttpRequest &request);
    // The server's own http://host:port, put into every link; a client's Host header never is.
    void setBaseUrl(const QByteArray &baseUrl);

private:
    // Everything of an ad answer but the request id, written once per unit and creative.
    struct AdLinks
    {
        std::string page;        // ...?unit=U&rid=
        std::string impression;  // ...?unit=U&creative=C&rid=
        std::string viewable;
        std::string orientation;
    };

    Reply adRequest(const HttpRequest &request);
    Reply adPage(const QString &creativeId, const HttpRequest &request) const;
    Reply clickThrough(const QString &creativeId, const HttpRequest &request);
    Reply track(std::string_view event, const HttpRequest &request);
    Reply statsPage();
    Reply redirectLoop(const HttpRequest &request) const;
    Reply readiness() const;
    // Answers `reply` later, once `record` has stored its count (503 if it
    // cannot), and counts it then; the reply returned now only goes to the log.
    Reply afterCounting(Route route, Reply reply, const HttpRequest &request,
                        const std::function<void(GroupCommit::Done)> &record, void (ServerMetrics::*countStored)());
    Reply noFill() const;
    const QString *servedUnit(const std::string &unit) const;
    const AdLinks &linksFor(const QString &unit, const CreativeCatalogue::Creative &creative);

    bool nextRequestFills();
    void addRefreshRate(Reply &reply) const;

    const ServerOptions &options_;
    const FaultInjector &faults_;
    CreativeCatalogue &catalogue_;
    const CoreScript &script_;
    const StaticFiles &files_;
    AdStats &stats_;
    ServerMetrics &metrics_;
    QByteArray base_;
    std::vector<std::pair<std::string, QString>> units_;
    std::map<std::pair<QString, QString>, AdLinks> links_;
    qint64 fillDecisions_ = 0;
    QByteArray statsSnapshot_;
    std::chrono::steady_clock::time_point statsBuiltAt_;
};
