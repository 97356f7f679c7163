#pragma once
// The SQLite store's schema as the steps that built it, applied in order; the database's
// user_version counts how many have run.

#include <array>

namespace nq::server {

extern const std::array<const char*, 9> kSchemaSteps;

}  // namespace nq::server
