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

}  // namespace

SqliteCountStore::~SqliteCountStore()
{
    sqlite3_close(db_);
}

bool SqliteCountStore::open(const QString &path, QString *error)
{
    if (path != QLatin1String(":memory:"))
        QDir().mkpath(QFileInfo(path).absolutePath());
    // FULL: a commit is on disk before the counts in it are acknowledged.
    const bool opened = sqlite3_open_v2(path.toUtf8().constData(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) == SQLITE_OK
        && exec(db_, "PRAGMA journal_mode=WAL")
        && exec(db_, "PRAGMA synchronous=FULL")
        && exec(db_, "CREATE TABLE IF NOT EXISTS counts (unit TEXT NOT NULL, creative TEXT NOT NULL, name TEXT NOT NULL,"
                     " value INTEGER NOT NULL, PRIMARY KEY (unit, creative, name))")
        && exec(db_, "CREATE TABLE IF NOT EXISTS runs (started TEXT NOT NULL)")
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
    sqlite3_stmt *statement = nullptr;
    bool ok = exec(db_, "BEGIN")
        && sqlite3_prepare_v2(db_, "INSERT INTO counts VALUES (?, ?, ?, ?) ON CONFLICT DO UPDATE SET value = value + excluded.value",
                              -1, &statement, nullptr) == SQLITE_OK;
    for (auto entry = additions.begin(); ok && entry != additions.end(); ++entry) {
        const auto &[unit, creative, name] = entry->first;
        const QByteArray fields[] = {unit.toUtf8(), creative.toUtf8(), name.toUtf8()};
        for (int i = 0; i < 3; ++i)
            sqlite3_bind_text(statement, i + 1, fields[i].constData(), int(fields[i].size()), SQLITE_TRANSIENT);
        sqlite3_bind_int64(statement, 4, entry->second);
        ok = sqlite3_step(statement) == SQLITE_DONE && sqlite3_reset(statement) == SQLITE_OK;
    }
    sqlite3_finalize(statement);
    ok = ok && exec(db_, "COMMIT");
    if (ok)
        return {};
    const QByteArray error = sqlite3_errmsg(db_);
    exec(db_, "ROLLBACK");
    return error;
}
