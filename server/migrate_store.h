#pragma once
// nqserver migrate: copies a SQLite database into an empty PostgreSQL one, table by table with
// every column (group numbers, roster order and times included), then checks the copy.

#include <ostream>
#include <string>

namespace nq::server {

// True when the copy holds everything; what differs is reported on out either way.
bool migrateStore(const std::string& fromFile, const std::string& toUri, std::ostream& out);

}  // namespace nq::server
