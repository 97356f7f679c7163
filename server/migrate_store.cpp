#include "server/migrate_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <climits>
#include <map>

#include "server/pg_store.h"
#include "server/sqlite_store.h"

namespace nq::server {
namespace {

// A SQLite connection that only reads, closed at the end of the scope.
struct Reader {
    explicit Reader(const std::string& path) {
        if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            throw StoreError("cannot read " + path + ": " + sqlite3_errmsg(db));
    }
    ~Reader() { sqlite3_close(db); }
    // Calls row(statement) for each row of sql.
    template <typename Row>
    void each(const std::string& sql, Row&& row) {
        sqlite3_stmt* s = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &s, nullptr) != SQLITE_OK)
            throw StoreError("cannot read: " + std::string(sqlite3_errmsg(db)));
        int rc;
        while ((rc = sqlite3_step(s)) == SQLITE_ROW) row(s);
        sqlite3_finalize(s);
        if (rc != SQLITE_DONE) throw StoreError("cannot read: " + std::string(sqlite3_errmsg(db)));
    }
    std::string text(sqlite3_stmt* s, int c) {
        const auto* p = static_cast<const char*>(sqlite3_column_blob(s, c));
        return p ? std::string(p, static_cast<size_t>(sqlite3_column_bytes(s, c))) : std::string();
    }
    sqlite3* db = nullptr;
};

// What a user and his groups look like through the store, as one text per part, so that the two
// engines can be compared part by part whatever keeps them inside.
std::string contacts(const std::vector<Contact>& list) {
    std::string out;
    for (const Contact& c : list) out += c.account + '\1' + c.nick + '\1' + c.head + '\2';
    return out;
}

std::map<std::string, std::string> partsOf(Store& store) {
    std::map<std::string, std::string> parts;
    for (const Account& a : store.accounts()) {
        const std::string who = "account " + gbk::toUtf8(a.name);
        std::string fields = a.digest + '\1' + a.nick + '\1' + a.head + '\1' + std::to_string(a.level) +
                             '\1' + std::to_string(a.coins) + '\1' + a.signature + '\1' +
                             std::to_string(a.age) + '\1' + std::to_string(a.sex) + '\1' +
                             std::to_string(a.setting);
        for (const Bytes* t : a.profileTexts()) fields += '\1' + *t;
        parts[who + " profile"] = fields;
        parts[who + " friends"] = contacts(store.friends(a.name));
        parts[who + " blacklist"] = contacts(store.blacklist(a.name));
        std::string waiting;
        for (const WaitingMessage& m : store.waitingMessages(a.name, 0, INT_MAX))
            waiting += std::to_string(m.sub) + '\1' + m.body + '\2';
        parts[who + " waiting messages"] = waiting;
        std::string requests;
        for (const JoinRequest& r : store.joinRequestsBy(a.name))
            requests += std::to_string(r.groupId) + '\1' + r.text + '\1' +
                        std::to_string(static_cast<int>(r.state)) + '\2';
        parts[who + " join requests"] = requests;
    }
    for (const Group& g : store.groups()) {
        const std::string which = "group " + std::to_string(g.id) + " " + gbk::toUtf8(g.name);
        const auto card = store.groupCard(g.name);
        parts[which + " card"] = card
                                     ? g.creator + '\1' + g.intro + '\1' + card->host + '\1' + card->hostess +
                                           '\1' + card->deputy + '\1' + card->butler + '\1' +
                                           std::to_string(card->kind) + '\1' + std::to_string(card->available)
                                     : "";
        parts[which + " members"] = contacts(store.groupMembers(g.id));
    }
    if (const auto room = store.room()) {
        std::string staff;
        for (const Bytes& a : room->staff) staff += a + '\1';
        parts["room"] = room->name + '\2' + staff;
    }
    // Who is in the room is kept by chat server; those of every server that reported a load.
    for (const ServerLoad& l : store.loads()) {
        std::string members;
        for (const Bytes& a : store.roomMembersAt(l.server)) members += a + '\1';
        parts["room members at " + l.server] = members;
    }
    std::string notices;
    for (const Notice& n : store.noticesAfter(0))
        notices +=
            std::to_string(n.id) + '\1' + std::to_string(static_cast<int>(n.kind)) + '\1' + n.text + '\2';
    parts["notices"] = notices;
    return parts;
}

}  // namespace

bool migrateStore(const std::string& fromFile, const std::string& toUri, std::ostream& out) {
    if (access(fromFile.c_str(), R_OK) != 0) throw StoreError("cannot read " + fromFile);
    SqliteStore source(fromFile);  // an older file is brought up to date first, as a server would
    PgStore target(toUri);

    Reader reader(fromFile);
    std::vector<std::string> tables;
    reader.each(
        "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%' ORDER BY rowid",
        [&](sqlite3_stmt* s) { tables.push_back(reader.text(s, 0)); });
    for (const std::string& t : tables)
        if (target.query("SELECT COUNT(*) FROM " + t).at(0).at(0) != "0")
            throw StoreError(toUri + " already holds " + t + "; migrate copies into an empty database only");

    // Columns PostgreSQL numbers itself (id, rowid): the next number goes past those copied.
    const auto serials = target.query(
        "SELECT table_name, column_name FROM information_schema.columns WHERE table_schema = "
        "current_schema() "
        "AND column_default LIKE 'nextval%'");
    std::map<std::string, std::string> sqliteSequence;  // what AUTOINCREMENT handed out last, by table
    reader.each("SELECT name, seq FROM sqlite_sequence",
                [&](sqlite3_stmt* s) { sqliteSequence[reader.text(s, 0)] = reader.text(s, 1); });

    const auto failed = target.writeBatch(
        1,
        [&](size_t) {
            for (const std::string& t : tables) {
                std::vector<std::string> columns;
                reader.each("SELECT name FROM pragma_table_info('" + t + "')",
                            [&](sqlite3_stmt* s) { columns.push_back(reader.text(s, 0)); });
                std::string names, places;
                for (size_t i = 0; i < columns.size(); ++i) {
                    names += (i ? ", " : "") + columns[i];
                    places += (i ? ", $" : "$") + std::to_string(i + 1);
                }
                // Rows go in in SQLite's rowid order, which is roster order: PostgreSQL numbers them
                // again in its rowid column in the same order.
                const std::string insert = "INSERT INTO " + t + " (" + names + ") VALUES (" + places + ")";
                reader.each("SELECT " + names + " FROM " + t + " ORDER BY rowid", [&](sqlite3_stmt* s) {
                    std::vector<PgStore::RawValue> values;
                    for (int c = 0; c < static_cast<int>(columns.size()); ++c) {
                        const int type = sqlite3_column_type(s, c);
                        if (type == SQLITE_NULL)
                            values.push_back({});
                        else
                            values.push_back({reader.text(s, c), type == SQLITE_BLOB});
                    }
                    target.executeWith(insert, values);
                });
            }
            for (const auto& s : serials) {
                const std::string& t = s[0];
                const std::string& c = s[1];
                const std::string used = c == "id" && sqliteSequence.count(t) ? sqliteSequence[t] : "0";
                target.query("SELECT setval(pg_get_serial_sequence('" + t + "', '" + c + "'), GREATEST(" +
                             used + ", (SELECT COALESCE(MAX(" + c + "), 0) FROM " + t + ")) + 1, false)");
            }
        },
        true);
    if (!failed[0].empty()) {
        out << "migrate: nothing was copied: " << failed[0] << "\n";
        return false;
    }

    bool same = true;
    for (const std::string& t : tables) {
        int64_t rows = 0;
        reader.each("SELECT COUNT(*) FROM " + t, [&](sqlite3_stmt* s) { rows = sqlite3_column_int64(s, 0); });
        const std::string copied = target.query("SELECT COUNT(*) FROM " + t).at(0).at(0);
        out << "  " << t << ": " << rows << " rows, " << copied << " copied\n";
        if (copied != std::to_string(rows)) {
            out << "migrate: MISMATCH: table " << t << " has " << rows << " rows in " << fromFile << " but "
                << copied << " in the copy\n";
            same = false;
        }
    }
    const auto before = partsOf(source);
    const auto after = partsOf(target);
    for (const auto& [part, value] : before) {
        auto it = after.find(part);
        if (it == after.end() || it->second != value) {
            out << "migrate: MISMATCH: " << part << (it == after.end() ? " is missing" : " differs")
                << " in the copy\n";
            same = false;
        }
    }
    for (const auto& [part, value] : after)
        if (!before.count(part)) {
            out << "migrate: MISMATCH: " << part << " is in the copy only\n";
            same = false;
        }
    out << (same
                ? "migrate: the copy holds everything: " + std::to_string(before.size()) + " parts compared\n"
                : std::string("migrate: the copy differs from the source; see above\n"));
    return same;
}

}  // namespace nq::server
