#pragma once
// The PostgreSQL cluster that the ctest fixture starts (pg_cluster.sh), for the tests using it.

#include <gtest/gtest.h>
#include <libpq-fe.h>

namespace nq::test {

// A database of the cluster, or of nothing outside ctest.
inline std::string pgUri(const std::string& database) {
    const char* dir = std::getenv("NQ_PG_DIR");
    return std::string("postgresql:///") + database + "?host=" + (dir ? dir : "") + "&user=postgres";
}

// Runs sql on a connection of its own; false, the test failed, when it fails.
inline bool pgRun(const std::string& database, const std::string& sql) {
    PGconn* c = PQconnectdb(pgUri(database).c_str());
    PGresult* r = PQexec(c, sql.c_str());
    const bool ok = PQresultStatus(r) == PGRES_COMMAND_OK || PQresultStatus(r) == PGRES_TUPLES_OK;
    EXPECT_TRUE(ok) << PQerrorMessage(c) << sql;
    PQclear(r);
    PQfinish(c);
    return ok;
}

}  // namespace nq::test
