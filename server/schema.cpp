#include "server/schema.h"

#include <string_view>

namespace nq::server {
namespace {

// Words of the SQLite text and what PostgreSQL says instead. Integers are 64 bits in SQLite; text
// compares byte for byte there, so PostgreSQL's columns take the "C" collation, which does the
// same whatever locale the cluster was made with. The tables whose roster order SQLite keeps in
// its implicit rowid get a column of that name. A step's INSERT OR REPLACE only ever moved rows of
// tables that an older SQLite server filled; every PostgreSQL database is made by a server that
// runs all steps at once on empty tables, so a plain INSERT does the same there.
constexpr std::pair<std::string_view, std::string_view> kPostgresWords[] = {
    {"INTEGER PRIMARY KEY AUTOINCREMENT", "BIGSERIAL PRIMARY KEY"},
    {"INTEGER", "BIGINT"},
    {"TEXT", "TEXT COLLATE \"C\""},
    {"BLOB", "BYTEA"},
    {"x''", "''::bytea"},
    {"INSERT OR REPLACE", "INSERT"},
    {"{rowid}", "rowid BIGSERIAL NOT NULL,"},
};

bool wordChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

std::string schemaStep(Engine engine, int index) {
    const std::string_view text = kSchemaSteps.at(static_cast<size_t>(index));
    std::string out;
    out.reserve(text.size() * 2);
    for (size_t i = 0; i < text.size();) {
        bool replaced = false;
        for (auto [from, to] : kPostgresWords) {
            if (from == "{rowid}" && engine == Engine::Sqlite)
                to = "";
            else if (engine == Engine::Sqlite)
                continue;
            // Whole words only: "INTEGER" inside a name such as "INTEGERS" stays.
            const bool starts = text.substr(i, from.size()) == from;
            const bool whole = starts && (i == 0 || !wordChar(text[i - 1])) &&
                               (i + from.size() >= text.size() || !wordChar(text[i + from.size()]));
            if (whole) {
                out += to;
                i += from.size();
                replaced = true;
                break;
            }
        }
        if (!replaced) out += text[i++];
    }
    return out;
}

const std::array<const char*, kSchemaVersion> kSchemaSteps = {
    R"sql(
    CREATE TABLE accounts (
        name TEXT PRIMARY KEY,
        digest TEXT NOT NULL,
        nick TEXT NOT NULL UNIQUE,
        head TEXT NOT NULL,
        level INTEGER NOT NULL DEFAULT 1,
        coins INTEGER NOT NULL DEFAULT 0,
        signature TEXT NOT NULL DEFAULT '',
        age INTEGER NOT NULL DEFAULT 0,
        sex INTEGER NOT NULL DEFAULT 1,
        country TEXT NOT NULL DEFAULT '',
        province TEXT NOT NULL DEFAULT '',
        city TEXT NOT NULL DEFAULT '',
        email TEXT NOT NULL DEFAULT '',
        address TEXT NOT NULL DEFAULT '',
        postcode TEXT NOT NULL DEFAULT '',
        phone TEXT NOT NULL DEFAULT '',
        mobile TEXT NOT NULL DEFAULT '',
        real_name TEXT NOT NULL DEFAULT '',
        school TEXT NOT NULL DEFAULT '',
        work TEXT NOT NULL DEFAULT '',
        zodiac_animal TEXT NOT NULL DEFAULT '',
        blood_type TEXT NOT NULL DEFAULT '',
        star_sign TEXT NOT NULL DEFAULT '',
        setting INTEGER NOT NULL DEFAULT 0,
        created_at INTEGER NOT NULL
    );
    -- rowid order is roster order: friends appear in the order they were added.
    CREATE TABLE friends (
        {rowid}
        owner TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        friend TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        PRIMARY KEY (owner, friend)
    );
    CREATE INDEX friends_by_friend ON friends(friend);
    CREATE TABLE blacklist (
        {rowid}
        owner TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        target TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        PRIMARY KEY (owner, target)
    );
    CREATE TABLE waiting_messages (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        receiver TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        body BLOB NOT NULL,
        created_at INTEGER NOT NULL
    );
    CREATE INDEX waiting_by_receiver ON waiting_messages(receiver, id);
    CREATE TABLE notices (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        kind INTEGER NOT NULL,
        text TEXT NOT NULL,
        created_at INTEGER NOT NULL
    );
    CREATE TABLE chat_servers (
        server TEXT PRIMARY KEY,
        sessions INTEGER NOT NULL,
        heartbeat INTEGER NOT NULL
    );
    )sql",
    R"sql(
    CREATE TABLE kept_sessions (
        server TEXT NOT NULL,
        number INTEGER NOT NULL,
        account TEXT NOT NULL,
        address INTEGER NOT NULL,
        port INTEGER NOT NULL,
        ready INTEGER NOT NULL,
        kept_at INTEGER NOT NULL,
        PRIMARY KEY (server, number)
    );
    )sql",
    R"sql(
    CREATE TABLE online (
        account TEXT PRIMARY KEY,
        server TEXT NOT NULL,
        since INTEGER NOT NULL
    );
    CREATE INDEX online_by_server ON online(server);
    CREATE TABLE bus (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        origin TEXT NOT NULL,
        kind INTEGER NOT NULL,
        account TEXT NOT NULL,
        code INTEGER NOT NULL DEFAULT 0,
        target TEXT NOT NULL DEFAULT '',
        created_at INTEGER NOT NULL
    );
    )sql",
    // Waiting messages past their age are found without reading the table.
    "CREATE INDEX waiting_by_age ON waiting_messages(created_at);",
    // The online row carries its session from the login on, so that a crash loses none; the
    // sessions an older server kept at its stop move there. A row without a session (number
    // 0) is what a crash of an older server left.
    R"sql(
    ALTER TABLE online ADD COLUMN number INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE online ADD COLUMN address INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE online ADD COLUMN port INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE online ADD COLUMN ready INTEGER NOT NULL DEFAULT 0;
    CREATE TABLE server_stops (
        server TEXT PRIMARY KEY,
        stopped_at INTEGER NOT NULL
    );
    INSERT OR REPLACE INTO online (account, server, since, number, address, port, ready)
        SELECT account, server, kept_at, number, address, port, ready FROM kept_sessions;
    INSERT OR REPLACE INTO server_stops (server, stopped_at)
        SELECT server, MAX(kept_at) FROM kept_sessions GROUP BY server;
    DROP TABLE kept_sessions;
    )sql",
    // Groups. The client keys a group by its name alone, in the same files as people, so names
    // are unique; the number is what searches and the card show. The card's texts and numbers
    // have their columns from the start. rowid order is roster order: a member's groups in the
    // order he joined them, a group's members in the order they came, its creator first.
    R"sql(
    CREATE TABLE chat_groups (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        name TEXT NOT NULL UNIQUE,
        creator TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        intro TEXT NOT NULL DEFAULT '',
        host TEXT NOT NULL DEFAULT '',
        hostess TEXT NOT NULL DEFAULT '',
        deputy TEXT NOT NULL DEFAULT '',
        butler TEXT NOT NULL DEFAULT '',
        kind INTEGER NOT NULL DEFAULT 0,
        available INTEGER NOT NULL DEFAULT 1,
        created_at INTEGER NOT NULL
    );
    CREATE TABLE group_members (
        {rowid}
        group_id INTEGER NOT NULL REFERENCES chat_groups(id) ON DELETE CASCADE,
        member TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        role TEXT NOT NULL CHECK (role IN ('creator', 'member')),
        joined_at INTEGER NOT NULL,
        PRIMARY KEY (group_id, member)
    );
    CREATE INDEX group_members_by_member ON group_members(member);
    )sql",
    // A waiting message goes out as the kind it came as: one to one (sub 1) or to a group member
    // (sub 3), which the client files apart. Group lines cross between chat servers on the bus
    // with their frame body.
    R"sql(
    ALTER TABLE waiting_messages ADD COLUMN sub INTEGER NOT NULL DEFAULT 1;
    ALTER TABLE bus ADD COLUMN body BLOB NOT NULL DEFAULT x'';
    )sql",
    // Users create and join groups: a join request waits here for the creator and his answer for
    // the requester. The online listing pages by account and the group search by name.
    R"sql(
    CREATE TABLE join_requests (
        {rowid}
        group_id INTEGER NOT NULL REFERENCES chat_groups(id) ON DELETE CASCADE,
        requester TEXT NOT NULL REFERENCES accounts(name) ON DELETE CASCADE,
        text TEXT NOT NULL,
        state INTEGER NOT NULL,
        created_at INTEGER NOT NULL,
        PRIMARY KEY (group_id, requester)
    );
    CREATE INDEX join_requests_by_requester ON join_requests(requester);
    CREATE INDEX chat_groups_by_creator ON chat_groups(creator);
    CREATE INDEX online_page ON online(account, number, server);
    UPDATE chat_groups SET host = creator WHERE host = '';
    )sql",
    // The public room: one row naming it and its staff (accounts, one a line), and who is in it
    // at which chat server, one row per account however often he comes in.
    R"sql(
    CREATE TABLE room (
        id INTEGER PRIMARY KEY CHECK (id = 1),
        name TEXT NOT NULL,
        staff TEXT NOT NULL DEFAULT ''
    );
    CREATE TABLE room_members (
        {rowid}
        account TEXT PRIMARY KEY,
        server TEXT NOT NULL,
        joined_at INTEGER NOT NULL
    );
    CREATE INDEX room_members_by_server ON room_members(server);
    )sql",
};

}  // namespace nq::server
