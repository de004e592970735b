#include "store/PostgresCountStore.h"

#include <libpq-fe.h>

#include <memory>
#include <vector>

namespace {

using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

Result run(PGconn *connection, const char *sql)
{
    return {PQexec(connection, sql), &PQclear};
}

Result runWith(PGconn *connection, const QByteArray &sql, const std::vector<QByteArray> &fields)
{
    std::vector<const char *> values;
    for (const QByteArray &field : fields)
        values.push_back(field.constData());
    return {PQexecParams(connection, sql.constData(), int(values.size()), nullptr, values.data(), nullptr, nullptr, 0), &PQclear};
}

bool succeeded(const Result &result)
{
    const ExecStatusType status = PQresultStatus(result.get());
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

// The schema, created once by whichever server comes first; the lock keeps
// servers starting together from racing on it.
constexpr const char *schema =
    "BEGIN;"
    "SELECT pg_advisory_xact_lock(7469);"
    "CREATE TABLE IF NOT EXISTS counts (unit text NOT NULL, creative text NOT NULL, name text NOT NULL,"
    " value bigint NOT NULL, PRIMARY KEY (unit, creative, name));"
    "CREATE SEQUENCE IF NOT EXISTS runs MINVALUE 0 START 0;"
    "CREATE TABLE IF NOT EXISTS requests (id bigint PRIMARY KEY, time bigint NOT NULL, unit text NOT NULL,"
    " creative text NOT NULL, parameters text NOT NULL, withheld text NOT NULL);"
    "CREATE INDEX IF NOT EXISTS requests_by_time ON requests (time);"
    "COMMIT";

}  // namespace

PostgresCountStore::~PostgresCountStore()
{
    PQfinish(connection_);
}

bool PostgresCountStore::open(const QString &uri, QString *error)
{
    uri_ = uri.toUtf8();
    bool opened = connect() && succeeded(run(connection_, schema));
    if (opened) {
        const Result run = ::run(connection_, "SELECT nextval('runs')");
        opened = succeeded(run) && PQntuples(run.get()) == 1;
        if (opened)
            runNumber_ = QByteArray(PQgetvalue(run.get(), 0, 0)).toLongLong();
    }
    if (!opened)
        *error = QStringLiteral("cannot open the count database: %1").arg(QString::fromUtf8(complaint()));
    return opened;
}

bool PostgresCountStore::connect()
{
    lastAttempt_ = std::chrono::steady_clock::now();
    PQfinish(connection_);
    // Bounded waits: a database that stops answering fails the batch instead of holding it.
    const char *keys[] = {"dbname", "connect_timeout", "keepalives_idle", "keepalives_interval", "keepalives_count",
                          "tcp_user_timeout", "application_name", nullptr};
    const char *values[] = {uri_.constData(), "2", "5", "2", "2", "5000", "velmora-adserver", nullptr};
    connection_ = PQconnectdbParams(keys, values, 1);
    return PQstatus(connection_) == CONNECTION_OK;
}

bool PostgresCountStore::connected()
{
    if (PQstatus(connection_) == CONNECTION_OK)
        return true;
    return std::chrono::steady_clock::now() - lastAttempt_ >= reconnectInterval && connect();
}

QByteArray PostgresCountStore::complaint() const
{
    const QByteArray message = QByteArray(PQerrorMessage(connection_)).trimmed();
    return message.isEmpty() ? QByteArrayLiteral("no connection to the database") : message;
}

std::optional<CountStore::Counts> PostgresCountStore::load()
{
    const std::lock_guard lock(mutex_);
    if (!connected())
        return std::nullopt;
    const Result rows = run(connection_, "SELECT unit, creative, name, value FROM counts");
    if (!succeeded(rows))
        return std::nullopt;
    Counts counts;
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
        const auto field = [&](int column) { return QString::fromUtf8(PQgetvalue(rows.get(), row, column)); };
        counts[{field(0), field(1), field(2)}] = QByteArray(PQgetvalue(rows.get(), row, 3)).toLongLong();
    }
    return counts;
}

QByteArray PostgresCountStore::add(const Counts &additions)
{
    const std::lock_guard lock(mutex_);
    if (!connected())
        return complaint();
    if (additions.empty())
        return {};
    // One statement, so one round trip and one transaction. Rows go in key
    // order, the same in every server, so concurrent batches cannot deadlock.
    QByteArray sql = "INSERT INTO counts (unit, creative, name, value) VALUES ";
    std::vector<QByteArray> fields;
    fields.reserve(additions.size() * 4);
    for (const auto &[key, value] : additions) {
        const auto &[unit, creative, name] = key;
        const auto placeholder = [&fields] { return "$" + QByteArray::number(qint64(fields.size()) + 1); };
        sql += fields.empty() ? "(" : ",(";
        for (const QByteArray &field : {unit.toUtf8(), creative.toUtf8(), name.toUtf8()}) {
            sql += placeholder() + "::text,";
            fields.push_back(field);
        }
        sql += placeholder() + "::bigint)";
        fields.push_back(QByteArray::number(value));
    }
    sql += " ON CONFLICT (unit, creative, name) DO UPDATE SET value = counts.value + excluded.value";
    return succeeded(runWith(connection_, sql, fields)) ? QByteArray() : complaint();
}

QByteArray PostgresCountStore::addRequests(const Requests &requests, int keep, qint64 notBeforeMs)
{
    const std::lock_guard lock(mutex_);
    if (!connected())
        return complaint();
    bool ok = succeeded(run(connection_, "BEGIN"));
    if (ok && !requests.empty()) {
        QByteArray sql = "INSERT INTO requests VALUES ";
        std::vector<QByteArray> fields;
        for (const Request &request : requests) {
            const QByteArray values[] = {QByteArray::number(request.id), QByteArray::number(request.timeMs), request.unit.toUtf8(),
                                         request.creative.toUtf8(), request.parameters, request.withheld};
            static constexpr const char *types[] = {"::bigint", "::bigint", "::text", "::text", "::text", "::text"};
            sql += fields.empty() ? "(" : ",(";
            for (int column = 0; column < 6; ++column) {
                fields.push_back(values[column]);
                sql += (column ? ",$" : "$") + QByteArray::number(qint64(fields.size())) + types[column];
            }
            sql += ')';
        }
        ok = succeeded(runWith(connection_, sql + " ON CONFLICT (id) DO NOTHING", fields));
    }
    ok = ok
        && succeeded(runWith(connection_, "DELETE FROM requests WHERE time < $1::bigint"
                                          " OR id IN (SELECT id FROM requests ORDER BY time DESC, id DESC OFFSET $2::bigint)",
                             {QByteArray::number(notBeforeMs), QByteArray::number(keep)}))
        && succeeded(run(connection_, "COMMIT"));
    if (ok)
        return {};
    const QByteArray error = complaint();
    run(connection_, "ROLLBACK");
    return error;
}

std::optional<CountStore::Requests> PostgresCountStore::latestRequests(int count)
{
    const std::lock_guard lock(mutex_);
    if (!connected())
        return std::nullopt;
    const Result rows = runWith(connection_, "SELECT * FROM (SELECT id, time, unit, creative, parameters, withheld FROM requests"
                                             " ORDER BY time DESC, id DESC LIMIT $1::bigint) AS latest ORDER BY time, id",
                                {QByteArray::number(count)});
    if (!succeeded(rows))
        return std::nullopt;
    Requests requests;
    for (int row = 0; row < PQntuples(rows.get()); ++row) {
        const auto field = [&](int column) { return QByteArray(PQgetvalue(rows.get(), row, column)); };
        requests.push_back({field(0).toLongLong(), field(1).toLongLong(), QString::fromUtf8(field(2)), QString::fromUtf8(field(3)),
                            field(4), field(5)});
    }
    return requests;
}

std::optional<qint64> PostgresCountStore::eraseRequestsHolding(const QByteArray &text)
{
    const std::lock_guard lock(mutex_);
    if (!connected())
        return std::nullopt;
    const Result erased = runWith(connection_, "DELETE FROM requests WHERE strpos(parameters, $1::text) > 0", {text});
    if (!succeeded(erased))
        return std::nullopt;
    return QByteArray(PQcmdTuples(erased.get())).toLongLong();
}
