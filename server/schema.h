#pragma once
// The store's schema as the steps that built it, applied in order, for both engines. The steps are
// written once in SQLite's dialect; schemaStep rewrites the few words PostgreSQL spells otherwise.
// The database's schema version counts how many steps have run: SQLite keeps it in user_version,
// PostgreSQL in the one-row table nq_schema.

#include <array>
#include <string>

namespace nq::server {

enum class Engine { Sqlite, Postgres };

inline constexpr int kSchemaVersion = 9;
extern const std::array<const char*, kSchemaVersion> kSchemaSteps;

// Step `index` (0-based) as the engine runs it.
std::string schemaStep(Engine engine, int index);

}  // namespace nq::server
