#include "pg_database.h"

#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace nq::test {

std::string pgUri(const std::string& database) {
    const char* dir = std::getenv("NQ_PG_DIR");
    return std::string("postgresql:///") + database + "?host=" + (dir ? dir : "") + "&user=postgres";
}

bool pgRun(const std::string& database, const std::string& sql) {
    PGconn* c = PQconnectdb(pgUri(database).c_str());
    PGresult* r = PQexec(c, sql.c_str());
    const bool ok = PQresultStatus(r) == PGRES_COMMAND_OK || PQresultStatus(r) == PGRES_TUPLES_OK;
    EXPECT_TRUE(ok) << PQerrorMessage(c) << sql;
    PQclear(r);
    PQfinish(c);
    return ok;
}

PgDatabase::PgDatabase() {
    // PostgreSQL folds unquoted names to lower case and cuts them at 63 bytes.
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name;
    for (char c : std::string(info ? info->name() : "db") + "_" + std::to_string(getpid()))
        name += std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::tolower(c)) : '_';
    name_ = "t_" + name.substr(std::max<size_t>(name.size(), 50) - 50);
    pgRun("postgres", "DROP DATABASE IF EXISTS " + name_ + " WITH (FORCE)");
    pgRun("postgres", "CREATE DATABASE " + name_);
}

PgDatabase::~PgDatabase() {
    pgRun("postgres", "DROP DATABASE IF EXISTS " + name_ + " WITH (FORCE)");
}

}  // namespace nq::test
