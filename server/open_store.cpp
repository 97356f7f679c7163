#include "server/open_store.h"

#include "server/pg_store.h"
#include "server/sqlite_store.h"

namespace nq::server {

bool isPostgresUri(const std::string& db) {
    return db.starts_with("postgresql://") || db.starts_with("postgres://");
}

std::unique_ptr<Store> openStore(const std::string& db) {
    if (isPostgresUri(db)) return std::make_unique<PgStore>(db);
    return std::make_unique<SqliteStore>(db);
}

}  // namespace nq::server
