#include "store/CountStore.h"

#include "store/PostgresCountStore.h"
#include "store/SqliteCountStore.h"

std::unique_ptr<CountStore> CountStore::open(const QString &location, QString *error)
{
    std::unique_ptr<CountStore> store;
    if (location.startsWith(QLatin1String("postgresql://")) || location.startsWith(QLatin1String("postgres://"))) {
        auto postgres = std::make_unique<PostgresCountStore>();
        if (postgres->open(location, error))
            store = std::move(postgres);
    } else {
        auto sqlite = std::make_unique<SqliteCountStore>();
        if (sqlite->open(location, error))
            store = std::move(sqlite);
    }
    return store;
}
