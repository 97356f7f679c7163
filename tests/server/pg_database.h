#pragma once
// Databases in the throwaway PostgreSQL cluster that ctest starts for a run (pg_cluster.sh, the
// fixture pg_cluster), which hands its folder over in NQ_PG_DIR.

#include <string>

namespace nq::test {

// A database of the cluster as libpq takes it; "" outside ctest leaves the folder unnamed.
std::string pgUri(const std::string& database);
// Runs sql on a connection of its own; false, with a test failure, when it fails.
bool pgRun(const std::string& database, const std::string& sql);

// A database of its own for the running test, named after it, dropped at the end of the scope.
class PgDatabase {
  public:
    PgDatabase();
    ~PgDatabase();
    PgDatabase(const PgDatabase&) = delete;
    PgDatabase& operator=(const PgDatabase&) = delete;

    std::string uri() const { return pgUri(name_); }

  private:
    std::string name_;
};

}  // namespace nq::test
