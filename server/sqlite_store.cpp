#include "server/sqlite_store.h"

#include "server/schema.h"
#include "server/sqlite_statement.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <string_view>
#include <type_traits>
#include <unordered_map>

namespace nq::server {
namespace {

// The store speaks GBK and keeps UTF-8. A GBK text that does not survive the round trip names
// nothing that was ever stored, since every stored name came in through UTF-8.
std::optional<std::string> utf8Of(const Bytes& gbkText) {
    std::string utf8 = gbk::toUtf8(gbkText);
    if (gbk::fromUtf8(utf8) != gbkText) return std::nullopt;
    return utf8;
}

constexpr const char* kAccountColumns =
    "name, digest, nick, head, level, coins, signature, age, sex, country, province, city, email, "
    "address, postcode, phone, mobile, real_name, school, work, zodiac_animal, blood_type, star_sign, "
    "setting";

}  // namespace

SqliteStore::SqliteStore(const std::string& path) : path_(path), cache_(std::make_unique<Cache>()) {
    open();
}

void SqliteStore::open() {
    const int rc = sqlite3_open_v2(path_.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (rc != SQLITE_OK) {
        const std::string reason = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        db_ = nullptr;
        throw StoreError("cannot open database " + path_ + ": " + reason);
    }
    // Another process (the admin command, a second chat server) may hold the write lock briefly.
    sqlite3_busy_timeout(db_, patienceMs_);
    try {
        exec("PRAGMA journal_mode=WAL");
        // In WAL mode NORMAL loses at most the last commits on power loss, never consistency;
        // FULL would fsync on every stored message.
        exec("PRAGMA synchronous=NORMAL");
        exec("PRAGMA foreign_keys=ON");
        migrate();
    } catch (const StoreError& e) {
        cache_->statements.clear();  // close refuses a database with live statements and would leak it
        sqlite3_close(db_);
        db_ = nullptr;
        throw StoreError("cannot use database " + path_ + ": " + e.what());
    }
    sharedMemory_ = sharedMemoryFile();
}

SqliteStore::SharedMemoryFile SqliteStore::sharedMemoryFile() const {
    struct stat st {};
    if (::stat((path_ + "-shm").c_str(), &st) != 0) return {};
    return {st.st_ino, st.st_size};
}

// SQLite maps the -shm file into memory. Another process that cuts it short (truncate, a copy
// put in its place, a tool run as the wrong user that recreates it) leaves the mapping pointing
// past the file's end, and the next read or write of the index is SIGBUS. No connection of ours
// ever shrinks it or replaces it while we hold the database open, so either means damage from
// outside: drop the connection without touching the index (no checkpoint at close) and open the
// database again, and SQLite rebuilds the index from the WAL.
bool SqliteStore::reopenIfSharedMemoryDamaged() {
    const SharedMemoryFile now = sharedMemoryFile();
    if (sharedMemory_.inode == 0 || (now.inode == sharedMemory_.inode && now.bytes >= sharedMemory_.bytes)) {
        sharedMemory_ = now;
        return false;
    }
    sqlite3_db_config(db_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    cache_->statements.clear();
    sqlite3_close(db_);
    db_ = nullptr;
    open();
    return true;
}

SqliteStore::~SqliteStore() {
    cache_.reset();  // statements first: close refuses a database with live statements
    if (db_) sqlite3_close(db_);
}

void SqliteStore::exec(const char* sql) {
    char* err = nullptr;
    if (const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &err); rc != SQLITE_OK) {
        std::string reason = err ? err : sqlite3_errmsg(db_);
        sqlite3_free(err);
        fail(rc, reason);
    }
}

// After a failure inside a transaction. A full disk or an I/O error may have rolled the whole
// transaction back already; a second error here would only hide the first.
void SqliteStore::rollback(const char* sql) {
    if (!sqlite3_get_autocommit(db_)) sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
}

std::vector<std::string> SqliteStore::writeBatch(size_t count, const std::function<void(size_t)>& write,
                                                 bool waitForLock) {
    std::vector<std::string> failed(count);
    if (!waitForLock) sqlite3_busy_timeout(db_, 0);
    const int rc = sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    sqlite3_busy_timeout(db_, patienceMs_);
    if (rc != SQLITE_OK) fail(rc, sqlite3_errmsg(db_));
    try {
        for (size_t i = 0; i < count; ++i) {
            exec("SAVEPOINT write");
            try {
                write(i);
                exec("RELEASE write");
            } catch (const StoreBusy&) {
                throw;
            } catch (const StoreError& e) {
                if (sqlite3_get_autocommit(db_)) throw;  // the transaction went with it
                exec("ROLLBACK TO write; RELEASE write");
                failed[i] = e.what();
            }
        }
        exec("COMMIT");
    } catch (...) {
        rollback("ROLLBACK");
        throw;
    }
    return failed;
}

void SqliteStore::setPatience(std::chrono::milliseconds patience) {
    patienceMs_ = static_cast<int>(patience.count());
    sqlite3_busy_timeout(db_, patienceMs_);
}

void SqliteStore::refuseChanges(bool refuse) {
    exec(refuse ? "PRAGMA query_only=1" : "PRAGMA query_only=0");
}

void SqliteStore::limitPages(int64_t pages) {
    exec(("PRAGMA max_page_count=" + std::to_string(pages)).c_str());
}

SqliteStore::Statement& SqliteStore::prepare(const char* sql) {
    auto it = cache_->statements.find(std::string_view(sql));
    if (it == cache_->statements.end())
        it = cache_->statements.emplace(sql, std::make_unique<Statement>(db_, sql)).first;
    it->second->reset();
    return *it->second;
}

int SqliteStore::schemaVersion() {
    auto& s = prepare("PRAGMA user_version");
    const int version = s.step() ? static_cast<int>(s.columnInt(0)) : 0;
    s.reset();
    return version;
}

void SqliteStore::migrate() {
    const int have = schemaVersion();
    constexpr int want = kSchemaVersion;
    if (have > want)
        throw StoreError("schema version " + std::to_string(have) + " is newer than this server's " +
                         std::to_string(want));
    for (int v = have; v < want; ++v) {
        transaction([&] {
            exec(schemaStep(Engine::Sqlite, v).c_str());
            exec(("PRAGMA user_version=" + std::to_string(v + 1)).c_str());
        });
    }
}

std::optional<Account> SqliteStore::accountWhere(const char* sql, const Bytes& key) {
    auto utf8 = utf8Of(key);
    if (!utf8) return std::nullopt;
    auto& s = prepare(sql);
    s.text(1, *utf8);
    if (!s.step()) return std::nullopt;
    Account a;
    int c = 0;
    a.name = s.columnGbk(c++);
    a.digest = s.columnText(c++);
    a.nick = s.columnGbk(c++);
    a.head = s.columnGbk(c++);
    a.level = static_cast<int>(s.columnInt(c++));
    a.coins = s.columnInt(c++);
    a.signature = s.columnGbk(c++);
    a.age = static_cast<int>(s.columnInt(c++));
    a.sex = static_cast<int>(s.columnInt(c++));
    for (Bytes* field : a.profileTexts()) *field = s.columnGbk(c++);
    a.setting = static_cast<int>(s.columnInt(c++));
    s.reset();
    return a;
}

std::optional<Account> SqliteStore::account(const Bytes& name) {
    static const std::string sql = std::string("SELECT ") + kAccountColumns + " FROM accounts WHERE name = ?";
    return accountWhere(sql.c_str(), name);
}

std::optional<Account> SqliteStore::accountByNick(const Bytes& nick) {
    static const std::string sql = std::string("SELECT ") + kAccountColumns + " FROM accounts WHERE nick = ?";
    return accountWhere(sql.c_str(), nick);
}

void SqliteStore::createAccount(const Account& a) {
    static const std::string sql = std::string("INSERT INTO accounts (") + kAccountColumns +
                                   ", created_at) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)";
    auto& s = prepare(sql.c_str());
    int c = 1;
    s.gbkText(c++, a.name);
    s.text(c++, a.digest);
    s.gbkText(c++, a.nick);
    s.gbkText(c++, a.head);
    s.integer(c++, a.level);
    s.integer(c++, a.coins);
    s.gbkText(c++, a.signature);
    s.integer(c++, a.age);
    s.integer(c++, a.sex);
    for (const Bytes* field : a.profileTexts()) s.gbkText(c++, *field);
    s.integer(c++, a.setting);
    s.integer(c++, static_cast<int64_t>(std::time(nullptr)));
    try {
        s.run();
    } catch (const Statement::ConstraintError&) {
        if (account(a.name)) throw StoreError("account " + gbk::toUtf8(a.name) + " exists already");
        throw StoreError("nick " + gbk::toUtf8(a.nick) + " is taken by another account");
    }
}

void SqliteStore::setDigest(const Bytes& name, const std::string& digest) {
    auto& s = prepare("UPDATE accounts SET digest = ? WHERE name = ?");
    s.text(1, digest).gbkText(2, name).run();
    if (sqlite3_changes(db_) == 0) throw StoreError("no account " + gbk::toUtf8(name));
}

bool SqliteStore::resealDigest(const Bytes& name, const std::string& from, const std::string& to) {
    auto& s = prepare("UPDATE accounts SET digest = ? WHERE name = ? AND digest = ?");
    s.text(1, to).gbkText(2, name).text(3, from).run();
    return sqlite3_changes(db_) != 0;
}

std::vector<Account> SqliteStore::accounts() {
    std::vector<Bytes> names;
    auto& s = prepare("SELECT name FROM accounts ORDER BY name");
    while (s.step()) names.push_back(s.columnGbk(0));
    std::vector<Account> out;
    for (const Bytes& n : names)
        if (auto a = account(n)) out.push_back(std::move(*a));
    return out;
}

std::vector<Contact> SqliteStore::friends(const Bytes& owner) {
    std::vector<Contact> out;
    auto& s = prepare(
        "SELECT a.name, a.nick, a.head FROM friends f JOIN accounts a ON a.name = f.friend "
        "WHERE f.owner = ? ORDER BY f.rowid");
    s.gbkText(1, owner);
    while (s.step()) out.push_back({s.columnGbk(0), s.columnGbk(1), s.columnGbk(2)});
    return out;
}

std::vector<Bytes> SqliteStore::ownersListing(const Bytes& friendName) {
    std::vector<Bytes> out;
    auto& s = prepare("SELECT owner FROM friends WHERE friend = ?");
    s.gbkText(1, friendName);
    while (s.step()) out.push_back(s.columnGbk(0));
    return out;
}

bool SqliteStore::addFriend(const Bytes& owner, const Bytes& friendName) {
    // A friend is never blacklisted as well: the client would ask about it mid-roster.
    return putOnList(owner, friendName, "DELETE FROM blacklist WHERE owner = ? AND target = ?",
                     "INSERT OR IGNORE INTO friends (owner, friend) VALUES (?, ?)");
}

bool SqliteStore::removeFriend(const Bytes& owner, const Bytes& friendName) {
    prepare("DELETE FROM friends WHERE owner = ? AND friend = ?")
        .gbkText(1, owner)
        .gbkText(2, friendName)
        .run();
    return sqlite3_changes(db_) > 0;
}

std::vector<Contact> SqliteStore::blacklist(const Bytes& owner) {
    std::vector<Contact> out;
    auto& s = prepare(
        "SELECT a.name, a.nick, a.head FROM blacklist b JOIN accounts a ON a.name = b.target "
        "WHERE b.owner = ? ORDER BY b.rowid");
    s.gbkText(1, owner);
    while (s.step()) out.push_back({s.columnGbk(0), s.columnGbk(1), s.columnGbk(2)});
    return out;
}

bool SqliteStore::isBlacklisted(const Bytes& owner, const Bytes& target) {
    auto& s = prepare("SELECT 1 FROM blacklist WHERE owner = ? AND target = ?");
    s.gbkText(1, owner).gbkText(2, target);
    const bool found = s.step();
    s.reset();
    return found;
}

bool SqliteStore::addToBlacklist(const Bytes& owner, const Bytes& target) {
    return putOnList(owner, target, "DELETE FROM friends WHERE owner = ? AND friend = ?",
                     "INSERT OR IGNORE INTO blacklist (owner, target) VALUES (?, ?)");
}

bool SqliteStore::putOnList(const Bytes& owner, const Bytes& other, const char* takeOff, const char* putOn) {
    return transaction([&] {
        prepare(takeOff).gbkText(1, owner).gbkText(2, other).run();
        prepare(putOn).gbkText(1, owner).gbkText(2, other).run();
        return sqlite3_changes(db_) > 0;
    });
}

bool SqliteStore::removeFromBlacklist(const Bytes& owner, const Bytes& target) {
    prepare("DELETE FROM blacklist WHERE owner = ? AND target = ?")
        .gbkText(1, owner)
        .gbkText(2, target)
        .run();
    return sqlite3_changes(db_) > 0;
}

std::vector<Group> SqliteStore::groupsWhere(const char* sql, const Bytes* key) {
    std::vector<Group> out;
    auto& s = prepare(sql);
    if (key) {
        auto utf8 = utf8Of(*key);
        if (!utf8) return out;
        s.text(1, *utf8);
    }
    while (s.step()) out.push_back({s.columnInt(0), s.columnGbk(1), s.columnGbk(2), s.columnGbk(3)});
    return out;
}

std::optional<Group> SqliteStore::group(const Bytes& name) {
    auto found = groupsWhere("SELECT id, name, creator, intro FROM chat_groups WHERE name = ?", &name);
    if (found.empty()) return std::nullopt;
    return std::move(found.front());
}

std::vector<Group> SqliteStore::groups() {
    return groupsWhere("SELECT id, name, creator, intro FROM chat_groups ORDER BY id", nullptr);
}

std::vector<Group> SqliteStore::groupsOf(const Bytes& member) {
    return groupsWhere(
        "SELECT g.id, g.name, g.creator, g.intro FROM group_members m "
        "JOIN chat_groups g ON g.id = m.group_id WHERE m.member = ? ORDER BY m.rowid",
        &member);
}

std::vector<Contact> SqliteStore::groupMembers(int64_t groupId) {
    std::vector<Contact> out;
    auto& s = prepare(
        "SELECT a.name, a.nick, a.head FROM group_members m JOIN accounts a ON a.name = m.member "
        "WHERE m.group_id = ? ORDER BY m.rowid");
    s.integer(1, groupId);
    while (s.step()) out.push_back({s.columnGbk(0), s.columnGbk(1), s.columnGbk(2)});
    return out;
}

std::vector<Bytes> SqliteStore::coMembers(const Bytes& account) {
    std::vector<Bytes> out;
    auto& s = prepare(
        "SELECT DISTINCT other.member FROM group_members own JOIN group_members other "
        "ON other.group_id = own.group_id WHERE own.member = ?1 AND other.member != ?1");
    s.gbkText(1, account);
    while (s.step()) out.push_back(s.columnGbk(0));
    return out;
}

int64_t SqliteStore::createGroup(const Group& g) {
    return transaction([&] {
        const auto now = static_cast<int64_t>(std::time(nullptr));
        try {
            // The creator is the group's host until the admin names another.
            prepare(
                "INSERT INTO chat_groups (name, creator, intro, created_at, host) VALUES (?1, ?2, ?3, ?4, "
                "?2)")
                .gbkText(1, g.name)
                .gbkText(2, g.creator)
                .gbkText(3, g.intro)
                .integer(4, now)
                .run();
        } catch (const Statement::ConstraintError&) {
            if (group(g.name)) throw StoreError("group " + gbk::toUtf8(g.name) + " exists already");
            throw StoreError("no account " + gbk::toUtf8(g.creator));
        }
        const int64_t id = sqlite3_last_insert_rowid(db_);
        prepare("INSERT INTO group_members (group_id, member, role, joined_at) VALUES (?, ?, 'creator', ?)")
            .integer(1, id)
            .gbkText(2, g.creator)
            .integer(3, now)
            .run();
        return id;
    });
}

bool SqliteStore::addMember(int64_t groupId, const Bytes& member) {
    try {
        prepare(
            "INSERT OR IGNORE INTO group_members (group_id, member, role, joined_at) "
            "VALUES (?, ?, 'member', ?)")
            .integer(1, groupId)
            .gbkText(2, member)
            .integer(3, static_cast<int64_t>(std::time(nullptr)))
            .run();
    } catch (const Statement::ConstraintError&) {
        throw StoreError("no account " + gbk::toUtf8(member) + " or no group " + std::to_string(groupId));
    }
    return sqlite3_changes(db_) > 0;
}

}  // namespace nq::server
