#include "server/pg_statement.h"

#include <algorithm>
#include <ctime>
#include <thread>

#include "server/pg_feed.h"

namespace nq::server {
namespace {

constexpr auto kFirstBackoff = std::chrono::milliseconds(100);
constexpr auto kMaxBackoff = std::chrono::seconds(5);
// Held while the schema is changed, so that servers started together on a new database do not
// both create its tables. Any number unlikely to be taken by another program sharing the database.
constexpr int64_t kMigrationLock = 0x6E71'0001;
// Held by every transaction that publishes an event until it commits: events then commit in the
// order of their ids, and a reader that saw id n has seen all below it.
constexpr int64_t kBusLock = 0x6E71'0002;

constexpr const char* kAccountColumns =
    "name, digest, nick, head, level, coins, signature, age, sex, country, province, city, email, "
    "address, postcode, phone, mobile, real_name, school, work, zodiac_animal, blood_type, star_sign, "
    "setting";

std::string messageOf(PGconn* conn, PGresult* r) {
    std::string m = r ? PQresultErrorMessage(r) : "";
    if (m.empty() && conn) m = PQerrorMessage(conn);
    while (!m.empty() && (m.back() == '\n' || m.back() == ' ')) m.pop_back();
    return m.empty() ? "connection lost" : m;
}

// The URI as messages show it: a password in it becomes "***", since logs are read by others.
std::string shown(const std::string& uri) {
    const size_t from = uri.find("://") + 3;
    const size_t at = uri.find('@', from);
    if (at == std::string::npos || uri.find('/', from) < at) return uri;
    const size_t colon = uri.find(':', from);
    if (colon > at) return uri;
    return uri.substr(0, colon + 1) + "***" + uri.substr(at);
}

// A PostgreSQL array literal of texts, each element quoted.
std::string arrayOf(const std::vector<std::string>& items) {
    std::string out = "{";
    for (const std::string& item : items) {
        out += '"';
        for (char c : item) {
            if (c == '"' || c == '\\') out += '\\';
            out += c;
        }
        out += "\",";
    }
    if (out.size() > 1) out.pop_back();
    return out + "}";
}

std::string hexOf(const Bytes& bytes) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (unsigned char c : bytes) {
        out += kHex[c >> 4];
        out += kHex[c & 15];
    }
    return out;
}

}  // namespace

PgStore::PgStore(std::string uri) : uri_(std::move(uri)) {
    try {
        connect();
        migrate();
    } catch (const StoreError& e) {
        dropConnection();
        throw StoreError("cannot use database " + shown(uri_) + ": " + e.what());
    }
}

PgStore::~PgStore() {
    dropConnection();
}

void PgStore::connect() {
    conn_ = PQconnectdb(uri_.c_str());
    if (PQstatus(conn_) != CONNECTION_OK) {
        const std::string reason = messageOf(conn_, nullptr);
        dropConnection();
        throw StoreUnavailable("cannot connect: " + reason);
    }
    // The store's text is UTF-8, whatever the database's clients default to.
    PQsetClientEncoding(conn_, "UTF8");
    // Notices ("table exists, skipping") would go to stderr, between the server's own lines.
    PQsetNoticeProcessor(
        conn_, [](void*, const char*) {}, nullptr);
    control(("SET lock_timeout = " + std::to_string(patienceMs_)).c_str());
}

void PgStore::dropConnection() {
    if (conn_) PQfinish(conn_);
    conn_ = nullptr;
    prepared_.clear();
}

void PgStore::ensureConnected() {
    if (conn_) return;
    // Inside a transaction a new connection would carry on without what came before.
    if (inTransaction_) throw StoreUnavailable("database connection lost inside a transaction");
    const auto now = std::chrono::steady_clock::now();
    if (now < nextConnect_)
        throw StoreUnavailable(
            "database connection lost; the next try is in " +
            std::to_string(std::chrono::ceil<std::chrono::milliseconds>(nextConnect_ - now).count()) + " ms");
    try {
        connect();
        backoff_ = {};
    } catch (const StoreUnavailable&) {
        backoff_ = std::clamp<std::chrono::steady_clock::duration>(backoff_ * 2, kFirstBackoff, kMaxBackoff);
        nextConnect_ = now + backoff_;
        throw;
    }
}

// The connection is gone when libpq says so, or when the server ended our session (the admin
// shutdown class 57P0x, as after pg_terminate_backend or a restart).
void PgStore::fail(PGresult* r) {
    const std::string reason = messageOf(conn_, r);
    const char* state = r ? PQresultErrorField(r, PG_DIAG_SQLSTATE) : nullptr;
    const std::string code = state ? state : "";
    const char* constraint = r ? PQresultErrorField(r, PG_DIAG_CONSTRAINT_NAME) : nullptr;
    const std::string name = constraint ? constraint : "";
    PQclear(r);
    if (!conn_ || PQstatus(conn_) != CONNECTION_OK || code.starts_with("08") || code.starts_with("57P")) {
        dropConnection();
        backoff_ = {};
        nextConnect_ = {};  // the first try again is at once; only a failed one waits
        throw StoreUnavailable("database connection lost: " + reason);
    }
    if (code.starts_with("23")) throw PgConstraintError(reason, code, name);
    // Another transaction holds a row we need (lock_timeout), or the two would deadlock.
    if (code == "55P03" || code == "40001" || code == "40P01") throw StoreBusy("database locked: " + reason);
    throw StoreError("database error: " + reason);
}

void PgStore::control(const char* sql) {
    ensureConnected();
    PGresult* r = PQexec(conn_, sql);
    const auto status = PQresultStatus(r);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) fail(r);
    PQclear(r);
}

void PgStore::execute(const std::string& sql) {
    control(sql.c_str());
}

PgStore::Rows PgStore::run(const char* sql, std::span<const Arg> args) {
    ensureConnected();
    auto it = prepared_.find(sql);
    if (it == prepared_.end()) {
        const std::string name = "q" + std::to_string(prepared_.size());
        PGresult* r = PQprepare(conn_, name.c_str(), sql, 0, nullptr);
        if (PQresultStatus(r) != PGRES_COMMAND_OK) fail(r);
        PQclear(r);
        it = prepared_.emplace(sql, name).first;
    }
    std::vector<const char*> values;
    std::vector<int> lengths, formats;
    for (const Arg& a : args) {
        values.push_back(a.null ? nullptr : a.value.data());
        lengths.push_back(static_cast<int>(a.value.size()));
        formats.push_back(a.binary ? 1 : 0);
    }
    PGresult* r = PQexecPrepared(conn_, it->second.c_str(), static_cast<int>(values.size()), values.data(),
                                 lengths.data(), formats.data(), 0);
    const auto status = PQresultStatus(r);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) fail(r);
    return Rows(r);
}

void PgStore::executeWith(const std::string& sql, const std::vector<RawValue>& values) {
    std::vector<Arg> args;
    for (const RawValue& v : values) args.push_back(v.value ? Arg(*v.value, v.binary) : Arg(std::nullopt));
    run(sql.c_str(), args);
}

std::vector<std::vector<std::string>> PgStore::query(const std::string& sql) {
    Rows r = run(sql.c_str(), {});
    std::vector<std::vector<std::string>> out(static_cast<size_t>(r.size()));
    for (int i = 0; i < r.size(); ++i)
        for (int c = 0; c < r.columns(); ++c) out[static_cast<size_t>(i)].push_back(r.text(i, c));
    return out;
}

int64_t PgStore::changed(const char* sql, std::initializer_list<Arg> args) {
    return run(sql, args).changed();
}

void PgStore::setPatience(std::chrono::milliseconds patience) {
    patienceMs_ = static_cast<int>(patience.count());
    if (conn_) control(("SET lock_timeout = " + std::to_string(patienceMs_)).c_str());
}

int PgStore::schemaVersion() {
    Rows r = run("SELECT version FROM nq_schema", {});
    return r.size() ? static_cast<int>(r.integer(0, 0)) : 0;
}

void PgStore::migrate() {
    control(("SELECT pg_advisory_lock(" + std::to_string(kMigrationLock) + ")").c_str());
    try {
        control("CREATE TABLE IF NOT EXISTS nq_schema (version INTEGER NOT NULL)");
        const int have = schemaVersion();
        if (have > kSchemaVersion)
            throw StoreError("schema version " + std::to_string(have) + " is newer than this server's " +
                             std::to_string(kSchemaVersion));
        for (int v = have; v < kSchemaVersion; ++v) {
            transaction([&] {
                control(schemaStep(Engine::Postgres, v).c_str());
                control("DELETE FROM nq_schema");
                run("INSERT INTO nq_schema (version) VALUES ($1)", {v + 1});
            });
        }
    } catch (...) {
        if (conn_)
            PQclear(
                PQexec(conn_, ("SELECT pg_advisory_unlock(" + std::to_string(kMigrationLock) + ")").c_str()));
        throw;
    }
    control(("SELECT pg_advisory_unlock(" + std::to_string(kMigrationLock) + ")").c_str());
}

std::vector<std::string> PgStore::writeBatch(size_t count, const std::function<void(size_t)>& write,
                                             bool waitForLock) {
    std::vector<std::string> failed(count);
    // A row another server holds is waited for as long as the loop allows, or without end at a stop.
    auto patience = [&] {
        busLocked_ = false;
        heldEvents_.clear();
        holdEvents_ = true;
        waitingForLock_ = waitForLock;
        if (waitForLock) control("SET LOCAL lock_timeout = 0");
    };
    auto done = [&] {
        holdEvents_ = busLocked_ = false;
        heldEvents_.clear();
    };
    // First all of them without a savepoint each, which would cost two round trips a write: a
    // write that fails takes the batch with it, and the batch is made again write by write below.
    if (count > 1) {
        try {
            transaction([&] {
                patience();
                for (size_t i = 0; i < count; ++i) write(i);
                publishHeld();
            });
            done();
            return failed;
        } catch (const StoreBusy&) {
            done();
            throw;
        } catch (const StoreError&) {
            done();
        }
    }
    try {
        transaction([&] {
            patience();
            for (size_t i = 0; i < count; ++i) {
                control("SAVEPOINT write");
                const size_t events = heldEvents_.size();
                try {
                    write(i);
                    control("RELEASE write");
                } catch (const StoreBusy&) {
                    throw;
                } catch (const StoreError& e) {
                    control("ROLLBACK TO write; RELEASE write");
                    heldEvents_.resize(events);
                    failed[i] = e.what();
                }
            }
            publishHeld();
        });
    } catch (...) {
        done();
        throw;
    }
    done();
    return failed;
}

void PgStore::publishHeld() {
    holdEvents_ = false;
    if (heldEvents_.empty()) return;
    std::vector<std::string> origins, kinds, accounts, codes, targets, bodies, payloads;
    const std::string at = std::to_string(static_cast<int64_t>(std::time(nullptr)));
    for (const BusEvent& e : heldEvents_) {
        origins.push_back(e.origin);
        kinds.push_back(std::to_string(static_cast<int>(e.kind)));
        accounts.push_back(gbk::toUtf8(e.account));
        codes.push_back(std::to_string(e.code));
        targets.push_back(e.target);
        bodies.push_back(hexOf(e.body));
        payloads.push_back(busPayload(e));
    }
    const std::vector<std::string> times(heldEvents_.size(), at);
    heldEvents_.clear();
    // Every server's events pass through this lock one transaction at a time, until its commit:
    // waiting for it a while costs less than giving the batch up and making it again later. Only
    // the commit comes after this, so the setting holds for nothing else.
    if (!waitingForLock_) control("SET LOCAL lock_timeout = 200");
    // One statement from the lock to the notifications, so that the lock is held for this round
    // trip and the commit's. The ids are taken under it, so that they commit in their order; the
    // notifications go at the commit, in the order sent, so a listener never hears of an event
    // before its row is there.
    run("WITH l AS MATERIALIZED (SELECT pg_advisory_xact_lock($1)), "
        "u AS MATERIALIZED (SELECT nextval('bus_id_seq') AS i, o, k, a, c, t, w, b, p FROM l, "
        "unnest($2::text[], $3::int[], $4::text[], $5::int[], $6::text[], $7::bigint[], $8::text[], "
        "$9::text[]) AS v(o, k, a, c, t, w, b, p)), "
        "e AS (INSERT INTO bus (id, origin, kind, account, code, target, created_at, body) "
        "SELECT i, o, k, a, c, t, w, decode(b, 'hex') FROM u) "
        "SELECT pg_notify($10, i || p) FROM u ORDER BY i",
        {kBusLock, arrayOf(origins), arrayOf(kinds), arrayOf(accounts), arrayOf(codes), arrayOf(targets),
         arrayOf(times), arrayOf(bodies), arrayOf(payloads), std::string(kBusChannel)});
    busLocked_ = true;
}

std::optional<Account> PgStore::accountWhere(const char* sql, const Bytes& key) {
    Rows r = run(sql, {gbkArg(key)});
    if (!r.size()) return std::nullopt;
    Account a;
    int c = 0;
    a.name = r.gbk(0, c++);
    a.digest = r.text(0, c++);
    a.nick = r.gbk(0, c++);
    a.head = r.gbk(0, c++);
    a.level = static_cast<int>(r.integer(0, c++));
    a.coins = r.integer(0, c++);
    a.signature = r.gbk(0, c++);
    a.age = static_cast<int>(r.integer(0, c++));
    a.sex = static_cast<int>(r.integer(0, c++));
    for (Bytes* field : a.profileTexts()) *field = r.gbk(0, c++);
    a.setting = static_cast<int>(r.integer(0, c++));
    return a;
}

std::optional<Account> PgStore::account(const Bytes& name) {
    static const std::string sql =
        std::string("SELECT ") + kAccountColumns + " FROM accounts WHERE name = $1";
    return accountWhere(sql.c_str(), name);
}

std::optional<Account> PgStore::accountByNick(const Bytes& nick) {
    static const std::string sql =
        std::string("SELECT ") + kAccountColumns + " FROM accounts WHERE nick = $1";
    return accountWhere(sql.c_str(), nick);
}

void PgStore::createAccount(const Account& a) {
    static const std::string sql =
        std::string("INSERT INTO accounts (") + kAccountColumns +
        ", created_at) VALUES "
        "($1,$2,$3,$4,$5,$6,$7,$8,$9,$10,$11,$12,$13,$14,$15,$16,$17,$18,$19,$20,$21,$22,"
        "$23,$24,$25)";
    const auto t = a.profileTexts();
    try {
        run(sql.c_str(), {gbkArg(a.name),
                          a.digest,
                          gbkArg(a.nick),
                          gbkArg(a.head),
                          a.level,
                          a.coins,
                          gbkArg(a.signature),
                          a.age,
                          a.sex,
                          gbkArg(*t[0]),
                          gbkArg(*t[1]),
                          gbkArg(*t[2]),
                          gbkArg(*t[3]),
                          gbkArg(*t[4]),
                          gbkArg(*t[5]),
                          gbkArg(*t[6]),
                          gbkArg(*t[7]),
                          gbkArg(*t[8]),
                          gbkArg(*t[9]),
                          gbkArg(*t[10]),
                          gbkArg(*t[11]),
                          gbkArg(*t[12]),
                          gbkArg(*t[13]),
                          a.setting,
                          static_cast<int64_t>(std::time(nullptr))});
    } catch (const PgConstraintError& e) {
        if (e.constraint == "accounts_pkey")
            throw StoreError("account " + gbk::toUtf8(a.name) + " exists already");
        throw StoreError("nick " + gbk::toUtf8(a.nick) + " is taken by another account");
    }
}

void PgStore::setDigest(const Bytes& name, const std::string& digest) {
    if (changed("UPDATE accounts SET digest = $1 WHERE name = $2", {digest, gbkArg(name)}) == 0)
        throw StoreError("no account " + gbk::toUtf8(name));
}

bool PgStore::resealDigest(const Bytes& name, const std::string& from, const std::string& to) {
    return changed("UPDATE accounts SET digest = $1 WHERE name = $2 AND digest = $3",
                   {to, gbkArg(name), from}) != 0;
}

std::vector<Account> PgStore::accounts() {
    std::vector<Bytes> names;
    Rows r = run("SELECT name FROM accounts ORDER BY name", {});
    for (int i = 0; i < r.size(); ++i) names.push_back(r.gbk(i, 0));
    std::vector<Account> out;
    for (const Bytes& n : names)
        if (auto a = account(n)) out.push_back(std::move(*a));
    return out;
}

void PgStore::saveProfile(const Account& a) {
    const auto t = a.profileTexts();
    try {
        run("UPDATE accounts SET nick = $1, head = $2, signature = $3, age = $4, sex = $5, country = $6, "
            "province = $7, city = $8, email = $9, address = $10, postcode = $11, phone = $12, mobile = $13, "
            "real_name = $14, school = $15, work = $16, zodiac_animal = $17, blood_type = $18, star_sign = "
            "$19 "
            "WHERE name = $20",
            {gbkArg(a.nick), gbkArg(a.head), gbkArg(a.signature), a.age,          a.sex,
             gbkArg(*t[0]),  gbkArg(*t[1]),  gbkArg(*t[2]),       gbkArg(*t[3]),  gbkArg(*t[4]),
             gbkArg(*t[5]),  gbkArg(*t[6]),  gbkArg(*t[7]),       gbkArg(*t[8]),  gbkArg(*t[9]),
             gbkArg(*t[10]), gbkArg(*t[11]), gbkArg(*t[12]),      gbkArg(*t[13]), gbkArg(a.name)});
    } catch (const PgConstraintError&) {
        throw StoreError("nick " + gbk::toUtf8(a.nick) + " is taken by another account");
    }
}

void PgStore::setCoins(const Bytes& name, int64_t coins) {
    if (changed("UPDATE accounts SET coins = $1 WHERE name = $2", {coins, gbkArg(name)}) == 0)
        throw StoreError("no account " + gbk::toUtf8(name));
}

std::vector<Contact> PgStore::onlinePage(const Bytes& after, int64_t skip, int limit, const std::string& self,
                                         int64_t freshSince) {
    // Rows of servers that stopped reporting are what a crash left; their people are gone.
    Rows r = run(
        "SELECT a.name, a.nick, a.head FROM (SELECT o.account FROM online o "
        "WHERE o.account > $1 AND o.number != 0 AND (o.server = $2 OR EXISTS (SELECT 1 FROM chat_servers c "
        "WHERE c.server = o.server AND c.heartbeat >= $3)) ORDER BY o.account LIMIT $4 OFFSET $5) p "
        "JOIN accounts a ON a.name = p.account ORDER BY p.account",
        {gbkArg(after), self, freshSince, limit, skip});
    return r.contacts();
}

std::vector<Contact> PgStore::friends(const Bytes& owner) {
    Rows r =
        run("SELECT a.name, a.nick, a.head FROM friends f JOIN accounts a ON a.name = f.friend "
            "WHERE f.owner = $1 ORDER BY f.rowid",
            {gbkArg(owner)});
    return r.contacts();
}

std::vector<Bytes> PgStore::ownersListing(const Bytes& friendName) {
    Rows r = run("SELECT owner FROM friends WHERE friend = $1", {gbkArg(friendName)});
    return r.firstColumn();
}

bool PgStore::addFriend(const Bytes& owner, const Bytes& friendName) {
    // A friend is never blacklisted as well: the client would ask about it mid-roster.
    return putOnList(owner, friendName, "DELETE FROM blacklist WHERE owner = $1 AND target = $2",
                     "INSERT INTO friends (owner, friend) VALUES ($1, $2) ON CONFLICT DO NOTHING");
}

bool PgStore::removeFriend(const Bytes& owner, const Bytes& friendName) {
    return changed("DELETE FROM friends WHERE owner = $1 AND friend = $2",
                   {gbkArg(owner), gbkArg(friendName)}) > 0;
}

std::vector<Contact> PgStore::blacklist(const Bytes& owner) {
    Rows r =
        run("SELECT a.name, a.nick, a.head FROM blacklist b JOIN accounts a ON a.name = b.target "
            "WHERE b.owner = $1 ORDER BY b.rowid",
            {gbkArg(owner)});
    return r.contacts();
}

bool PgStore::isBlacklisted(const Bytes& owner, const Bytes& target) {
    return run("SELECT 1 FROM blacklist WHERE owner = $1 AND target = $2", {gbkArg(owner), gbkArg(target)})
               .size() > 0;
}

bool PgStore::addToBlacklist(const Bytes& owner, const Bytes& target) {
    return putOnList(owner, target, "DELETE FROM friends WHERE owner = $1 AND friend = $2",
                     "INSERT INTO blacklist (owner, target) VALUES ($1, $2) ON CONFLICT DO NOTHING");
}

bool PgStore::putOnList(const Bytes& owner, const Bytes& other, const char* takeOff, const char* putOn) {
    return transaction([&] {
        run(takeOff, {gbkArg(owner), gbkArg(other)});
        return changed(putOn, {gbkArg(owner), gbkArg(other)}) > 0;
    });
}

bool PgStore::removeFromBlacklist(const Bytes& owner, const Bytes& target) {
    return changed("DELETE FROM blacklist WHERE owner = $1 AND target = $2",
                   {gbkArg(owner), gbkArg(target)}) > 0;
}

int64_t PgStore::storeMessage(const Bytes& receiver, const Bytes& body, uint16_t sub) {
    return run("INSERT INTO waiting_messages (receiver, body, created_at, sub) VALUES ($1, $2, $3, $4) "
               "RETURNING id",
               {gbkArg(receiver), blobArg(body), static_cast<int64_t>(std::time(nullptr)), int{sub}})
        .integer(0, 0);
}

std::vector<int64_t> PgStore::storeMessages(std::span<const NewMessage> messages) {
    if (messages.size() < 2) return Store::storeMessages(messages);
    std::vector<std::string> receivers, bodies, subs;
    for (const NewMessage& m : messages) {
        receivers.push_back(gbk::toUtf8(m.receiver));
        bodies.push_back(hexOf(m.body));
        subs.push_back(std::to_string(m.sub));
    }
    // The ids are taken in the order of the arrays, and returned in it.
    Rows r =
        run("WITH u AS MATERIALIZED (SELECT nextval('waiting_messages_id_seq') AS i, r, b, s "
            "FROM unnest($1::text[], $2::text[], $3::int[]) AS v(r, b, s)), "
            "w AS (INSERT INTO waiting_messages (id, receiver, body, created_at, sub) "
            "SELECT i, r, decode(b, 'hex'), $4, s FROM u) "
            "SELECT i FROM u ORDER BY i",
            {arrayOf(receivers), arrayOf(bodies), arrayOf(subs), static_cast<int64_t>(std::time(nullptr))});
    std::vector<int64_t> ids;
    for (int i = 0; i < r.size(); ++i) ids.push_back(r.integer(i, 0));
    if (ids.size() != messages.size())
        throw StoreError("stored " + std::to_string(ids.size()) + " messages of " +
                         std::to_string(messages.size()));
    return ids;
}

std::vector<WaitingMessage> PgStore::waitingMessages(const Bytes& receiver, int64_t afterId, int limit) {
    Rows r =
        run("SELECT id, body, sub FROM waiting_messages WHERE receiver = $1 AND id > $2 ORDER BY id LIMIT $3",
            {gbkArg(receiver), afterId, limit});
    std::vector<WaitingMessage> out;
    for (int i = 0; i < r.size(); ++i)
        out.push_back({r.integer(i, 0), r.blob(i, 1), static_cast<uint16_t>(r.integer(i, 2))});
    return out;
}

void PgStore::deleteMessages(std::span<const int64_t> ids) {
    if (ids.empty()) return;
    // One statement however many: a chat server deletes what it sent in the last turn together.
    std::string array = "{";
    for (int64_t id : ids) array += std::to_string(id) + ',';
    array.back() = '}';
    run("DELETE FROM waiting_messages WHERE id = ANY($1::bigint[])", {array});
}

int PgStore::countWaiting(const Bytes& receiver, int upTo) {
    return static_cast<int>(
        run("SELECT COUNT(*) FROM (SELECT 1 FROM waiting_messages WHERE receiver = $1 LIMIT $2) w",
            {gbkArg(receiver), upTo})
            .integer(0, 0));
}

int PgStore::dropWaitingBefore(int64_t wallSeconds) {
    return static_cast<int>(changed("DELETE FROM waiting_messages WHERE created_at < $1", {wallSeconds}));
}

int64_t PgStore::queueNotice(NoticeKind kind, const Bytes& text) {
    const auto now = static_cast<int64_t>(std::time(nullptr));
    // Notices only matter to servers running now; a day's worth is plenty for a look back.
    run("DELETE FROM notices WHERE created_at < $1", {now - 86400});
    return run("INSERT INTO notices (kind, text, created_at) VALUES ($1, $2, $3) RETURNING id",
               {static_cast<int>(kind), gbkArg(text), now})
        .integer(0, 0);
}

std::vector<Notice> PgStore::noticesAfter(int64_t id) {
    Rows r = run("SELECT id, kind, text FROM notices WHERE id > $1 ORDER BY id", {id});
    std::vector<Notice> out;
    for (int i = 0; i < r.size(); ++i)
        out.push_back({r.integer(i, 0), static_cast<NoticeKind>(std::clamp<int64_t>(r.integer(i, 1), 1, 3)),
                       r.gbk(i, 2)});
    return out;
}

int64_t PgStore::lastNoticeId() {
    return run("SELECT COALESCE(MAX(id), 0) FROM notices", {}).integer(0, 0);
}

void PgStore::publish(const BusEvent& e) {
    if (holdEvents_) return heldEvents_.push_back(e);
    if (!busLocked_) {
        run("SELECT pg_advisory_xact_lock($1)", {kBusLock});
        busLocked_ = inTransaction_;
    }
    // Delivered at the commit, so a listener never hears of an event before its row is there.
    run("WITH e AS (INSERT INTO bus (origin, kind, account, code, target, created_at, body) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7) RETURNING id) SELECT pg_notify($8, e.id || $9) FROM e",
        {e.origin, static_cast<int>(e.kind), gbkArg(e.account), e.code, e.target,
         static_cast<int64_t>(std::time(nullptr)), blobArg(e.body), std::string(kBusChannel), busPayload(e)});
}

std::unique_ptr<BusFeed> PgStore::busFeed() {
    return std::make_unique<PgFeed>(*this, uri_);
}

Store::BusRead PgStore::eventsAfter(int64_t id, const std::string& exceptOrigin) {
    BusRead read;
    read.lastId = std::max(id, lastEventId());
    Rows r =
        run("SELECT id, origin, kind, account, code, target, body FROM bus "
            "WHERE id > $1 AND id <= $2 AND origin != $3 ORDER BY id",
            {id, read.lastId, exceptOrigin});
    for (int i = 0; i < r.size(); ++i) {
        BusEvent e;
        e.id = r.integer(i, 0);
        e.origin = r.text(i, 1);
        e.kind = static_cast<BusKind>(r.integer(i, 2));
        e.account = r.gbk(i, 3);
        e.code = static_cast<int>(r.integer(i, 4));
        e.target = r.text(i, 5);
        e.body = r.blob(i, 6);
        read.events.push_back(std::move(e));
    }
    return read;
}

int64_t PgStore::lastEventId() {
    return run("SELECT COALESCE(MAX(id), 0) FROM bus", {}).integer(0, 0);
}

void PgStore::pruneEvents(int64_t olderThanSeconds) {
    run("DELETE FROM bus WHERE created_at < $1",
        {static_cast<int64_t>(std::time(nullptr)) - olderThanSeconds});
}

}  // namespace nq::server
