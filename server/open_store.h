#pragma once
// The store that --db names: a postgresql:// (or postgres://) connection URI opens the shared
// PostgreSQL store, anything else is the path of a SQLite file.

#include <memory>
#include <string>

#include "server/store.h"

namespace nq::server {

bool isPostgresUri(const std::string& db);
std::unique_ptr<Store> openStore(const std::string& db);

}  // namespace nq::server
