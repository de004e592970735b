#include "store/SqliteCountStore.h"

#include <QDir>
#include <QFileInfo>

#include <sqlite3.h>

namespace {

bool exec(sqlite3 *db, const char *sql)
{
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

QString text(sqlite3_stmt *statement, int column)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, column)));
}

QByteArray bytes(sqlite3_stmt *statement, int column)
{
    return QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(statement, column)), sqlite3_column_bytes(statement, column));
}

// Ends the transaction: the database's complaint, empty when committed.
QByteArray commitOrRollBack(sqlite3 *db, bool ok)
{
    if (ok && exec(db, "COMMIT"))
        return {};
    const QByteArray error = sqlite3_errmsg(db);
    exec(db, "ROLLBACK");
    return error;
}

// A prepared statement, finalized when it goes.
class Statement
{
public:
    Statement(sqlite3 *db, const char *sql) { ok_ = sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr) == SQLITE_OK; }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    bool ok() const { return ok_; }
    sqlite3_stmt *get() const { return statement_; }
    Statement &bind(int index, const QByteArray &value)
    {
        ok_ = ok_ && sqlite3_bind_text(statement_, index, value.constData(), int(value.size()), SQLITE_TRANSIENT) == SQLITE_OK;
        return *this;
    }
    Statement &bind(int index, qint64 value)
    {
        ok_ = ok_ && sqlite3_bind_int64(statement_, index, value) == SQLITE_OK;
        return *this;
    }
    // Runs it to the end and makes it ready to run again.
    bool run()
    {
        ok_ = ok_ && sqlite3_step(statement_) == SQLITE_DONE && sqlite3_reset(statement_) == SQLITE_OK;
        return ok_;
    }

private:
    sqlite3_stmt *statement_ = nullptr;
    bool ok_ = false;
};

}  // namespace

SqliteCountStore::~SqliteCountStore()
{
    sqlite3_close(db_);
}

bool SqliteCountStore::open(const QString &path, QString *error)
{
    if (path != QLatin1String(":memory:"))
        QDir().mkpath(QFileInfo(path).absolutePath());
    // FULL: a commit is on disk before the counts in it are acknowledged. An
    // erasure run beside the server holds the database a moment: wait for it.
    const bool opened = sqlite3_open_v2(path.toUtf8().constData(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) == SQLITE_OK
        && sqlite3_busy_timeout(db_, 5000) == SQLITE_OK
        && exec(db_, "PRAGMA journal_mode=WAL")
        && exec(db_, "PRAGMA synchronous=FULL")
        && exec(db_, "CREATE TABLE IF NOT EXISTS counts (unit TEXT NOT NULL, creative TEXT NOT NULL, name TEXT NOT NULL,"
                     " value INTEGER NOT NULL, PRIMARY KEY (unit, creative, name))")
        && exec(db_, "CREATE TABLE IF NOT EXISTS runs (started TEXT NOT NULL)")
        && exec(db_, "CREATE TABLE IF NOT EXISTS requests (id INTEGER PRIMARY KEY, time INTEGER NOT NULL, unit TEXT NOT NULL,"
                     " creative TEXT NOT NULL, parameters TEXT NOT NULL, withheld TEXT NOT NULL)")
        && exec(db_, "CREATE INDEX IF NOT EXISTS requests_by_time ON requests (time)")
        && startRun();  // fails now, not later, when it cannot be written
    if (!opened) {
        *error = QStringLiteral("cannot open the count database %1: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(db_)));
        sqlite3_close(db_);
        db_ = nullptr;
    }
    return opened;
}

bool SqliteCountStore::startRun()
{
    if (!exec(db_, "INSERT INTO runs VALUES (datetime('now'))"))
        return false;
    runNumber_ = sqlite3_last_insert_rowid(db_) - 1;
    return true;
}

std::optional<CountStore::Counts> SqliteCountStore::load()
{
    const std::lock_guard lock(mutex_);
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(db_, "SELECT unit, creative, name, value FROM counts", -1, &statement, nullptr) != SQLITE_OK)
        return std::nullopt;
    Counts counts;
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW)
        counts[{text(statement, 0), text(statement, 1), text(statement, 2)}] = sqlite3_column_int64(statement, 3);
    sqlite3_finalize(statement);
    if (step != SQLITE_DONE)
        return std::nullopt;
    return counts;
}

QByteArray SqliteCountStore::add(const Counts &additions)
{
    const std::lock_guard lock(mutex_);
    bool ok = exec(db_, "BEGIN");
    {
        Statement insert(db_, "INSERT INTO counts VALUES (?, ?, ?, ?) ON CONFLICT DO UPDATE SET value = value + excluded.value");
        for (auto entry = additions.begin(); ok && entry != additions.end(); ++entry) {
            const auto &[unit, creative, name] = entry->first;
            ok = insert.bind(1, unit.toUtf8()).bind(2, creative.toUtf8()).bind(3, name.toUtf8()).bind(4, entry->second).run();
        }
    }
    return commitOrRollBack(db_, ok);
}

QByteArray SqliteCountStore::addRequests(const Requests &requests, int keep, qint64 notBeforeMs)
{
    const std::lock_guard lock(mutex_);
    bool ok = exec(db_, "BEGIN");
    {
        Statement insert(db_, "INSERT OR IGNORE INTO requests VALUES (?, ?, ?, ?, ?, ?)");
        for (auto request = requests.begin(); ok && request != requests.end(); ++request) {
            ok = insert.bind(1, request->id).bind(2, request->timeMs).bind(3, request->unit.toUtf8()).bind(4, request->creative.toUtf8())
                     .bind(5, request->parameters).bind(6, request->withheld).run();
        }
        ok = ok && Statement(db_, "DELETE FROM requests WHERE time < ?").bind(1, notBeforeMs).run()
            && Statement(db_, "DELETE FROM requests WHERE id NOT IN (SELECT id FROM requests ORDER BY time DESC, id DESC LIMIT ?)")
                   .bind(1, qint64(keep))
                   .run();
    }
    return commitOrRollBack(db_, ok);
}

std::optional<CountStore::Requests> SqliteCountStore::latestRequests(int count)
{
    const std::lock_guard lock(mutex_);
    Statement select(db_, "SELECT * FROM (SELECT id, time, unit, creative, parameters, withheld FROM requests"
                          " ORDER BY time DESC, id DESC LIMIT ?) ORDER BY time, id");
    if (!select.bind(1, qint64(count)).ok())
        return std::nullopt;
    Requests requests;
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(select.get())) == SQLITE_ROW) {
        sqlite3_stmt *row = select.get();
        requests.push_back({sqlite3_column_int64(row, 0), sqlite3_column_int64(row, 1), text(row, 2), text(row, 3), bytes(row, 4),
                            bytes(row, 5)});
    }
    return step == SQLITE_DONE ? std::optional(std::move(requests)) : std::nullopt;
}

std::optional<qint64> SqliteCountStore::eraseRequestsHolding(const QByteArray &text)
{
    const std::lock_guard lock(mutex_);
    if (!Statement(db_, "DELETE FROM requests WHERE instr(parameters, ?) > 0").bind(1, text).run())
        return std::nullopt;
    return sqlite3_changes64(db_);
}
