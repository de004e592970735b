#include "routes/AdRoutes.h"

#include "store/AdStats.h"
#include "routes/CoreScript.h"
#include "routes/CreativeCatalogue.h"
#include "routes/FaultInjector.h"
#include "transport/HttpRequest.h"
#include "ServerOptions.h"
#include "routes/StaticFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

QString queryValue(const QUrlQuery &query, const QString &key)
{
    return query.queryItemValue(key, QUrl::FullyDecoded);
}

// Values echoed into pages and URLs: anything unexpected is dropped.
QByteArray safeUnit(const QUrlQuery &query)
{
    const QString unit = queryValue(query, QStringLiteral("unit"));
    return ServerOptions::isWellFormedUnit(unit) ? unit.toLatin1() : QByteArray();
}

QByteArray safeRequestId(const QUrlQuery &query)
{
    bool ok = false;
    const qint64 id = queryValue(query, QStringLiteral("rid")).toLongLong(&ok);
    return QByteArray::number(ok && id > 0 ? id : 0);
}

}  // namespace

AdRoutes::AdRoutes(const ServerOptions &options, const FaultInjector &faults, CreativeCatalogue &catalogue,
                   const CoreScript &script, const StaticFiles &files, AdStats &stats)
    : options_(options)
    , faults_(faults)
    , catalogue_(catalogue)
    , script_(script)
    , files_(files)
    , stats_(stats)
{
}

Reply AdRoutes::handle(const HttpRequest &request)
{
    const QString path = request.path();
    const QUrlQuery &query = request.query();
    const QByteArray &base = base_;

    if (path == QLatin1String("/ad"))
        return adRequest(query, base);
    if (path == CoreScript::path)
        return script_.reply(base, request.header("If-Modified-Since"));
    if (path.startsWith(QLatin1String("/page/")))
        return adPage(path.mid(6), query, base);
    if (path.startsWith(QLatin1String("/click/")))
        return clickThrough(path.mid(7), query, base);
    if (path.startsWith(QLatin1String("/track/")))
        return track(path.mid(7), query);
    if (path == QLatin1String("/stats"))
        return statsPage();
    if (path == QLatin1String("/healthz"))
        return Reply::text(200, "ok").addHeader("Cache-Control", "no-store");
    if (path == QLatin1String("/readyz"))
        return readiness();
    if (auto file = files_.serve(path, request.header("If-Modified-Since")))
        return *file;
    return Reply::text(404, "not found");
}

Reply AdRoutes::adRequest(const QUrlQuery &query, const QByteArray &base)
{
    if (faults_.redirectLoop())
        return redirectLoop(query, base);
    if (const auto status = faults_.forcedAdStatus())
        return Reply::text(*status, "fault injected: status " + QByteArray::number(*status));

    const QString unit = queryValue(query, QStringLiteral("slotname"));
    if (!ServerOptions::isWellFormedUnit(unit) || !options_.units.contains(unit)) {
        stats_.recordRejected();
        return Reply::text(400, "unknown ad unit");
    }
    const qint64 id = stats_.nextRequestId();
    const CreativeCatalogue::Creative *creative = nullptr;
    if (nextRequestFills())
        creative = faults_.flood() ? catalogue_.find(QStringLiteral("flood")) : catalogue_.next();
    stats_.recordAdRequest(id, unit, query, creative ? creative->id : QString());
    if (!creative)
        return noFill();

    const QByteArray ids = "unit=" + unit.toLatin1() + "&creative=" + creative->id.toLatin1()
        + "&rid=" + QByteArray::number(id);
    Reply reply = Reply::redirect(base + "/page/" + creative->id.toLatin1() + "?unit=" + unit.toLatin1()
                                  + "&rid=" + QByteArray::number(id));
    reply.addHeader("X-Tiskos-Tracking-Urls",
                    base + "/track/impression?" + ids + ' ' + base + "/track/viewable?" + ids);
    reply.addHeader("X-Tiskos-Orientation", creative->orientation.toLatin1());
    return reply;
}

Reply AdRoutes::adPage(const QString &creativeId, const QUrlQuery &query, const QByteArray &base) const
{
    const CreativeCatalogue::Creative *creative = catalogue_.find(creativeId);
    if (!creative)
        return Reply::text(404, "no such creative");
    if (faults_.emptyPage())
        return noFill();
    const QHash<QByteArray, QByteArray> values{
        {"base", base},
        {"unit", safeUnit(query)},
        {"rid", safeRequestId(query)},
        {"creative", creative->id.toLatin1()},
    };
    Reply reply = Reply::withBody(200, "text/html; charset=utf-8", CreativeCatalogue::render(*creative, values));
    addRefreshRate(reply);
    reply.truncated = faults_.truncatedPage();
    return reply;
}

Reply AdRoutes::clickThrough(const QString &creativeId, const QUrlQuery &query, const QByteArray &base)
{
    const CreativeCatalogue::Creative *creative = catalogue_.find(creativeId);
    if (!creative || creative->target.isEmpty())
        return Reply::text(404, "no such creative");
    const QByteArray target = creative->target.toUtf8();
    const QString unit = QString::fromLatin1(safeUnit(query));
    return afterCounting(Reply::redirect(target.startsWith('/') ? base + target : target),
                         [&stats = stats_, unit, id = creative->id](GroupCommit::Done done) {
                             stats.recordClickThrough(unit, id, std::move(done));
                         });
}

Reply AdRoutes::track(const QString &event, const QUrlQuery &query)
{
    const QString unit = QString::fromLatin1(safeUnit(query));
    const QString creative = queryValue(query, QStringLiteral("creative"));
    Reply reply = Reply::text(200, QByteArray());
    reply.addHeader("Cache-Control", "no-store");
    const AdStats &stats = stats_;
    if (event == QLatin1String("impression"))
        return afterCounting(reply, [&stats, unit, creative](GroupCommit::Done done) { stats.recordImpression(unit, creative, std::move(done)); });
    if (event == QLatin1String("click"))
        return afterCounting(reply, [&stats, unit, creative](GroupCommit::Done done) { stats.recordClick(unit, creative, std::move(done)); });
    return reply;
}

Reply AdRoutes::afterCounting(Reply reply, std::function<void(GroupCommit::Done)> record) const
{
    static const Reply unstored = Reply::text(503, "cannot count it now; try again").addHeader("Retry-After", "1");
    // Known to fail: said at once, and logged as what it is.
    if (!stats_.storing())
        return unstored;
    reply.deferred = [record = std::move(record), answer = reply](Reply::Completion complete) {
        record([complete = std::move(complete), answer](bool stored) { complete(stored ? answer : unstored); });
    };
    return reply;
}

Reply AdRoutes::readiness() const
{
    Reply reply = stats_.storing() ? Reply::text(200, "ready") : Reply::text(503, "the count database takes no writes");
    reply.addHeader("Cache-Control", "no-store");
    return reply;
}

Reply AdRoutes::statsPage()
{
    // However often it is asked for, the page costs one build per interval.
    const auto now = std::chrono::steady_clock::now();
    if (statsSnapshot_.isEmpty() || now - statsBuiltAt_ >= options_.statsInterval) {
        QJsonObject stats = stats_.toJson();
        stats.insert(QStringLiteral("faults"), QJsonArray::fromStringList(options_.faults));
        statsSnapshot_ = QJsonDocument(stats).toJson(QJsonDocument::Indented);
        statsBuiltAt_ = now;
    }
    Reply reply = Reply::withBody(200, "application/json", statsSnapshot_);
    reply.addHeader("Cache-Control", "no-store");
    reply.addHeader("X-Content-Type-Options", "nosniff");
    return reply;
}

Reply AdRoutes::redirectLoop(QUrlQuery query, const QByteArray &base) const
{
    const int hop = queryValue(query, QStringLiteral("hop")).toInt() + 1;
    query.removeAllQueryItems(QStringLiteral("hop"));
    query.addQueryItem(QStringLiteral("hop"), QString::number(hop));
    return Reply::redirect(base + "/ad?" + query.toString(QUrl::FullyEncoded).toLatin1());
}

Reply AdRoutes::noFill() const
{
    Reply reply = Reply::withBody(200, "text/html; charset=utf-8", QByteArray());
    addRefreshRate(reply);
    return reply;
}

bool AdRoutes::nextRequestFills()
{
    // Spreads the fills evenly: rate 0.25 fills exactly every fourth request.
    const double rate = options_.fillRate;
    const qint64 n = fillDecisions_++;
    return std::floor((n + 1) * rate) > std::floor(n * rate);
}

void AdRoutes::addRefreshRate(Reply &reply) const
{
    if (options_.refreshSeconds > 0)
        reply.addHeader("X-Tiskos-Refresh-Rate", QByteArray::number(options_.refreshSeconds, 'g', 10));
}
