#pragma once
// The pieces of the SQLite store that its source files share: the failure mapping, prepared
// statements and their cache, and the transaction wrapper. Private to server/sqlite_*.cpp.

#include "server/sqlite_store.h"

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>

namespace nq::server {

// A lock held by another connection is worth waiting for later; anything else is a fault.
[[noreturn]] inline void fail(int rc, const std::string& reason) {
    const int primary = rc & 0xFF;
    if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) throw StoreBusy("database locked: " + reason);
    throw StoreError("database error: " + reason);
}

class SqliteStore::Statement {
  public:
    Statement(sqlite3* db, const char* sql) : db_(db) {
        if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK)
            throw StoreError(std::string("database statement failed: ") + sqlite3_errmsg(db));
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void reset() {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
    Statement& text(int i, std::string_view v) {
        sqlite3_bind_text(stmt_, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& gbkText(int i, const Bytes& v) { return text(i, gbk::toUtf8(v)); }
    Statement& blob(int i, std::string_view v) {
        sqlite3_bind_blob(stmt_, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& integer(int i, int64_t v) {
        sqlite3_bind_int64(stmt_, i, v);
        return *this;
    }

    // True while rows come, false at the end. A constraint failure throws ConstraintError so
    // that callers can tell "taken" from "broken".
    bool step() {
        const int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        const std::string reason = sqlite3_errmsg(db_);
        sqlite3_reset(stmt_);
        if ((rc & 0xFF) == SQLITE_CONSTRAINT) throw ConstraintError(reason);
        fail(rc, reason);
    }
    void run() {
        while (step()) {
        }
    }

    std::string columnText(int c) {
        const auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, c));
        return p ? std::string(p, sqlite3_column_bytes(stmt_, c)) : std::string();
    }
    Bytes columnGbk(int c) { return gbk::fromUtf8(columnText(c)); }
    Bytes columnBlob(int c) {
        const auto* p = static_cast<const char*>(sqlite3_column_blob(stmt_, c));
        return p ? Bytes(p, sqlite3_column_bytes(stmt_, c)) : Bytes();
    }
    int64_t columnInt(int c) { return sqlite3_column_int64(stmt_, c); }
    bool isNull(int c) { return sqlite3_column_type(stmt_, c) == SQLITE_NULL; }

    struct ConstraintError : StoreError {
        using StoreError::StoreError;
    };

  private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

// Keyed by the SQL text: the same text built at two places (or rebuilt in a std::string) is one
// statement, and two texts that happen to share an address are never confused.
struct SqliteStore::Cache {
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view sql) const { return std::hash<std::string_view>{}(sql); }
    };
    std::unordered_map<std::string, std::unique_ptr<Statement>, Hash, std::equal_to<>> statements;
};

// Runs body between BEGIN IMMEDIATE and COMMIT; anything it throws rolls back. Inside a batch
// of writes it is a savepoint of that transaction.
template <typename Body>
auto SqliteStore::transaction(Body&& body) {
    const bool nested = !sqlite3_get_autocommit(db_);
    exec(nested ? "SAVEPOINT step" : "BEGIN IMMEDIATE");
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            exec(nested ? "RELEASE step" : "COMMIT");
        } else {
            auto result = body();
            exec(nested ? "RELEASE step" : "COMMIT");
            return result;
        }
    } catch (...) {
        rollback(nested ? "ROLLBACK TO step; RELEASE step" : "ROLLBACK");
        throw;
    }
}

}  // namespace nq::server
