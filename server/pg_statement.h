#pragma once
// The pieces of the PostgreSQL store that its source files share: arguments, result rows, the
// failure mapping and the transaction wrapper. Private to server/pg_*.cpp.

#include "server/pg_store.h"

#include <libpq-fe.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace nq::server {

// One statement argument, sent as text except byte strings, which go as binary so that GBK bodies
// arrive byte for byte.
struct PgStore::Arg {
    std::string value;
    bool binary = false;
    bool null = false;
    Arg(int64_t v) : value(std::to_string(v)) {}   // NOLINT: integers read as arguments
    Arg(int v) : value(std::to_string(v)) {}       // NOLINT
    Arg(uint32_t v) : value(std::to_string(v)) {}  // NOLINT
    Arg(const std::string& text) : value(text) {}  // NOLINT: plain UTF-8 such as server names
    Arg(std::string text, bool bin) : value(std::move(text)), binary(bin) {}
    Arg(std::nullopt_t) : null(true) {}  // NOLINT
};
inline PgStore::Arg gbkArg(const Bytes& text) {
    return {gbk::toUtf8(text), false};
}
inline PgStore::Arg blobArg(const Bytes& bytes) {
    return {bytes, true};
}

// The result of one statement, owned; rows and columns counted from 0, every value as text.
class PgStore::Rows {
  public:
    explicit Rows(PGresult* r) : r_(r) {}
    Rows(Rows&& o) noexcept : r_(o.r_) { o.r_ = nullptr; }
    Rows& operator=(Rows&&) = delete;
    ~Rows() { PQclear(r_); }
    int size() const { return PQntuples(r_); }
    int columns() const { return PQnfields(r_); }
    bool isNull(int row, int c) const { return PQgetisnull(r_, row, c); }
    std::string text(int row, int c) const {
        return {PQgetvalue(r_, row, c), static_cast<size_t>(PQgetlength(r_, row, c))};
    }
    Bytes gbk(int row, int c) const { return gbk::fromUtf8(text(row, c)); }
    int64_t integer(int row, int c) const { return std::strtoll(PQgetvalue(r_, row, c), nullptr, 10); }
    // bytea in text form is "\x" and two hex digits a byte.
    Bytes blob(int row, int c) const {
        const std::string hex = text(row, c);
        Bytes out;
        for (size_t i = 2; i + 1 < hex.size(); i += 2)
            out += static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16));
        return out;
    }
    int64_t changed() const { return std::strtoll(PQcmdTuples(r_), nullptr, 10); }
    // Rows of account, nick, head, as rosters list people.
    std::vector<Contact> contacts() const {
        std::vector<Contact> out;
        for (int i = 0; i < size(); ++i) out.push_back({gbk(i, 0), gbk(i, 1), gbk(i, 2)});
        return out;
    }
    std::vector<Bytes> firstColumn() const {
        std::vector<Bytes> out;
        for (int i = 0; i < size(); ++i) out.push_back(gbk(i, 0));
        return out;
    }

  private:
    PGresult* r_;
};

inline PgStore::Rows PgStore::run(const char* sql, std::initializer_list<Arg> args) {
    return run(sql, std::span<const Arg>(args.begin(), args.size()));
}

// A unique key or a foreign key refused the row; constraint names the one that did.
struct PgConstraintError : StoreError {
    PgConstraintError(const std::string& reason, std::string state, std::string name)
        : StoreError(reason), sqlState(std::move(state)), constraint(std::move(name)) {}
    std::string sqlState;
    std::string constraint;
    bool unique() const { return sqlState == "23505"; }
};

// Runs body between BEGIN and COMMIT; anything it throws rolls back. Inside a batch of writes it
// is a savepoint of that transaction.
template <typename Body>
auto PgStore::transaction(Body&& body) {
    const bool nested = inTransaction_;
    control(nested ? "SAVEPOINT step" : "BEGIN");
    inTransaction_ = true;
    auto undo = [&] {
        // A lost connection took the transaction with it; nothing is left to roll back.
        if (conn_) PQclear(PQexec(conn_, nested ? "ROLLBACK TO step; RELEASE step" : "ROLLBACK"));
        inTransaction_ = nested;
    };
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            control(nested ? "RELEASE step" : "COMMIT");
            inTransaction_ = nested;
        } else {
            auto result = body();
            control(nested ? "RELEASE step" : "COMMIT");
            inTransaction_ = nested;
            return result;
        }
    } catch (...) {
        undo();
        throw;
    }
}

}  // namespace nq::server
