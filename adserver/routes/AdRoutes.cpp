#include "routes/AdRoutes.h"

#include "store/AdStats.h"
#include "routes/CoreScript.h"
#include "routes/CreativeCatalogue.h"
#include "routes/FaultInjector.h"
#include "transport/HttpRequest.h"
#include "metrics/ServerMetrics.h"
#include "ServerOptions.h"
#include "routes/StaticFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

QString parameter(const HttpRequest &request, std::string_view name)
{
    return QString::fromStdString(request.parameter(name).value_or(std::string()));
}

// Values echoed into pages and URLs: anything unexpected is dropped.
QByteArray safeUnit(const HttpRequest &request)
{
    const QString unit = parameter(request, "unit");
    return ServerOptions::isWellFormedUnit(unit) ? unit.toLatin1() : QByteArray();
}

QByteArray safeRequestId(const HttpRequest &request)
{
    bool ok = false;
    const qint64 id = parameter(request, "rid").toLongLong(&ok);
    return QByteArray::number(ok && id > 0 ? id : 0);
}

QByteArray ifModifiedSince(const HttpRequest &request)
{
    const std::string_view value = request.header("If-Modified-Since");
    return QByteArray(value.data(), qsizetype(value.size()));
}

std::string_view view(const QByteArray &bytes)
{
    return {bytes.constData(), std::size_t(bytes.size())};
}

}  // namespace

AdRoutes::AdRoutes(const ServerOptions &options, const FaultInjector &faults, CreativeCatalogue &catalogue,
                   const CoreScript &script, const StaticFiles &files, AdStats &stats, ServerMetrics &metrics)
    : options_(options)
    , faults_(faults)
    , catalogue_(catalogue)
    , script_(script)
    , files_(files)
    , stats_(stats)
    , metrics_(metrics)
{
    for (const QString &unit : options.units)
        units_.emplace_back(unit.toStdString(), unit);
}

void AdRoutes::setBaseUrl(const QByteArray &baseUrl)
{
    base_ = baseUrl;
    links_.clear();
}

Reply AdRoutes::handle(Route route, const HttpRequest &request)
{
    const std::string &path = request.path();
    switch (route) {
    case Route::ad:
        return adRequest(request);
    case Route::coreScript:
        return script_.reply(base_, ifModifiedSince(request));
    case Route::page:
        return adPage(QString::fromStdString(path.substr(6)), request);
    case Route::click:
        return clickThrough(QString::fromStdString(path.substr(7)), request);
    case Route::track:
        return track(std::string_view(path).substr(7), request);
    case Route::stats:
        return statsPage();
    case Route::dashboard:
        if (auto page = files_.serve(QStringLiteral("/index.html"), ifModifiedSince(request)))
            return *page;
        break;
    case Route::health:
        return Reply::text(200, "ok").addHeader("Cache-Control", "no-store");
    case Route::readiness:
        return readiness();
    case Route::metrics:
    case Route::file:
        break;
    }
    if (auto file = files_.serve(QString::fromStdString(path), ifModifiedSince(request)))
        return *file;
    return Reply::text(404, "not found");
}

Reply AdRoutes::adRequest(const HttpRequest &request)
{
    if (faults_.redirectLoop())
        return redirectLoop(request);
    if (const auto status = faults_.forcedAdStatus())
        return Reply::text(*status, "fault injected: status " + QByteArray::number(*status));

    const QString *unit = servedUnit(request.parameter("slotname").value_or(std::string()));
    if (!unit) {
        stats_.recordRejected();
        return Reply::text(400, "unknown ad unit");
    }
    const qint64 id = stats_.nextRequestId();
    const CreativeCatalogue::Creative *creative = nullptr;
    if (nextRequestFills())
        creative = faults_.flood() ? catalogue_.find(QStringLiteral("flood")) : catalogue_.next();
    stats_.recordAdRequest(id, *unit, request.query(), creative ? creative->id : QString());
    metrics_.countAdRequest(creative != nullptr);
    if (!creative)
        return noFill();

    const AdLinks &links = linksFor(*unit, *creative);
    char number[24];
    const std::string_view rid(number, std::size_t(std::to_chars(number, number + sizeof number, id).ptr - number));
    Reply reply;
    reply.status = 302;
    reply.addHeader("Location", {links.page, rid});
    reply.addHeader("X-Tiskos-Tracking-Urls", {links.impression, rid, " ", links.viewable, rid});
    reply.addHeader("X-Tiskos-Orientation", links.orientation);
    return reply;
}

const QString *AdRoutes::servedUnit(const std::string &unit) const
{
    for (const auto &[text, served] : units_) {
        if (text == unit)
            return &served;
    }
    return nullptr;
}

const AdRoutes::AdLinks &AdRoutes::linksFor(const QString &unit, const CreativeCatalogue::Creative &creative)
{
    auto found = links_.find({unit, creative.id});
    if (found != links_.end())
        return found->second;
    const std::string base = base_.toStdString();
    const std::string ids = "unit=" + unit.toStdString() + "&creative=" + creative.id.toStdString() + "&rid=";
    AdLinks links{base + "/page/" + creative.id.toStdString() + "?unit=" + unit.toStdString() + "&rid=",
                  base + "/track/impression?" + ids, base + "/track/viewable?" + ids, creative.orientation.toStdString()};
    return links_.emplace(std::pair(unit, creative.id), std::move(links)).first->second;
}

Reply AdRoutes::adPage(const QString &creativeId, const HttpRequest &request) const
{
    const CreativeCatalogue::Creative *creative = catalogue_.find(creativeId);
    if (!creative)
        return Reply::text(404, "no such creative");
    if (faults_.emptyPage())
        return noFill();
    const QHash<QByteArray, QByteArray> values{
        {"base", base_},
        {"unit", safeUnit(request)},
        {"rid", safeRequestId(request)},
        {"creative", creative->id.toLatin1()},
    };
    Reply reply = Reply::withBody(200, "text/html; charset=utf-8", CreativeCatalogue::render(*creative, values));
    addRefreshRate(reply);
    reply.truncated = faults_.truncatedPage();
    return reply;
}

Reply AdRoutes::clickThrough(const QString &creativeId, const HttpRequest &request)
{
    const CreativeCatalogue::Creative *creative = catalogue_.find(creativeId);
    if (!creative || creative->target.isEmpty())
        return Reply::text(404, "no such creative");
    const QByteArray target = creative->target.toUtf8();
    const QString unit = QString::fromLatin1(safeUnit(request));
    return afterCounting(Route::click, Reply::redirect(view(target.startsWith('/') ? base_ + target : target)), request,
                         [&stats = stats_, unit, id = creative->id](GroupCommit::Done done) {
                             stats.recordClickThrough(unit, id, std::move(done));
                         },
                         &ServerMetrics::countClickThrough);
}

Reply AdRoutes::track(std::string_view event, const HttpRequest &request)
{
    const QString unit = QString::fromLatin1(safeUnit(request));
    const QString creative = parameter(request, "creative");
    Reply reply = Reply::text(200, QByteArray());
    reply.addHeader("Cache-Control", "no-store");
    AdStats &stats = stats_;
    if (event == "impression")
        return afterCounting(Route::track, reply, request,
                             [&stats, unit, creative](GroupCommit::Done done) { stats.recordImpression(unit, creative, std::move(done)); },
                             &ServerMetrics::countImpression);
    if (event == "click")
        return afterCounting(Route::track, reply, request,
                             [&stats, unit, creative](GroupCommit::Done done) { stats.recordClick(unit, creative, std::move(done)); },
                             &ServerMetrics::countClick);
    return reply;
}

Reply AdRoutes::afterCounting(Route route, Reply reply, const HttpRequest &request,
                              const std::function<void(GroupCommit::Done)> &record, void (ServerMetrics::*countStored)())
{
    static const Reply unstored = Reply::text(503, "cannot count it now; try again").addHeader("Retry-After", "1");
    // Known to fail: said at once, and logged as what it is.
    if (!stats_.storing())
        return unstored;
    // The writer's thread answers; it may outlive these routes, not the metrics.
    record([complete = request.answerLater(), &metrics = metrics_, route, countStored, answer = reply,
            delayMs = faults_.delayMs()](bool stored) {
        Reply sent = stored ? answer : unstored;
        if (stored)
            (metrics.*countStored)();
        metrics.countRequest(route, sent.status);
        sent.delayMs = delayMs;
        complete(std::move(sent));
    });
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

Reply AdRoutes::redirectLoop(const HttpRequest &request) const
{
    const int hop = parameter(request, "hop").toInt() + 1;
    std::string query;
    for (std::string_view rest = request.query(); !rest.empty();) {
        const std::string_view pair = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        if (!pair.empty() && !pair.starts_with("hop=") && pair != "hop")
            query.append(pair).push_back('&');
    }
    return Reply::redirect(view(base_ + "/ad?" + QByteArray::fromStdString(query) + "hop=" + QByteArray::number(hop)));
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
