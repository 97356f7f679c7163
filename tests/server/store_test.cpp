// The store on both engines, SQLite and PostgreSQL, as one suite: what the chat service tests
// cannot see through the protocol (a missing folder is refused as bad input, process_test); the
// schema's upgrades; faults (a full disk, a lost connection) and what they leave written. Then
// the SQLite database as another process leaves it: the loop goes on serving, and no session
// exists that the store does not know of.

#include "server/sqlite_store.h"

#include <poll.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "chat_fixture.h"
#include "pg_database.h"
#include "server/admin.h"
#include "server/migrate_store.h"
#include "server/pg_store.h"
#include "server/schema.h"
#include "server/write_queue.h"

namespace nq::server {

using test::pgRun;
using test::pgUri;

// Names the engine in a test's description instead of its bytes.
void PrintTo(Engine e, std::ostream* os) {
    *os << (e == Engine::Sqlite ? "SQLite" : "PostgreSQL");
}

namespace {

// One database per test: a file in a fresh folder, or a database of its own in the cluster.
class StoreTest : public ::testing::TestWithParam<Engine> {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        for (char c : std::string(info->name()) + "_" + std::to_string(getpid()))
            db_ += std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::tolower(c)) : '_';
        db_ = "t_" + db_.substr(std::max<size_t>(db_.size(), 50) - 50);
        fresh();
        store_ = open();
    }
    void TearDown() override {
        store_.reset();
        if (pg()) pgRun("postgres", "DROP DATABASE IF EXISTS " + db_ + " WITH (FORCE)");
    }
    bool pg() const { return GetParam() == Engine::Postgres; }
    void fresh() {
        if (!pg())
            unlink(path_.c_str());
        else
            ASSERT_TRUE(pgRun("postgres", "DROP DATABASE IF EXISTS " + db_ + " WITH (FORCE)") &&
                        pgRun("postgres", "CREATE DATABASE " + db_));
    }
    std::unique_ptr<Store> open() {
        if (pg()) return std::make_unique<PgStore>(pgUri(db_));
        return std::make_unique<SqliteStore>(path_);
    }
    // sql on the test's database, past the store.
    void raw(const std::string& sql) {
        if (pg()) return void(pgRun(db_, sql));
        sqlite3* db = nullptr;
        sqlite3_open(path_.c_str(), &db);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
    }
    void setVersion(int v) {
        raw(pg() ? "CREATE TABLE IF NOT EXISTS nq_schema (version INTEGER); DELETE FROM nq_schema; "
                   "INSERT INTO nq_schema VALUES (" +
                       std::to_string(v) + ")"
                 : "PRAGMA user_version=" + std::to_string(v));
    }
    // Ends the store's connection from outside, as a restarted or failed-over database would.
    void cutConnection() {
        pgRun("postgres",
              "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + db_ + "'");
    }
    std::vector<Bytes> friendNames(const char* owner) {
        std::vector<Bytes> out;
        for (const Contact& c : store_->friends(owner)) out.push_back(c.account);
        return out;
    }
    void addAccounts(std::initializer_list<const char*> names) {
        for (const char* n : names) {
            Account a;
            a.name = a.nick = n;
            a.head = "m1";
            store_->createAccount(a);
        }
    }
    test::TempDir dir_{"nqserver-store"};
    const std::string path_ = dir_.file("store.db");
    std::string db_;
    std::unique_ptr<Store> store_;
};

// What only one engine has: a connection to lose, a copy to take in.
class PostgresStoreTest : public StoreTest {};

std::string engineName(const ::testing::TestParamInfo<Engine>& info) {
    return info.param == Engine::Sqlite ? "Sqlite" : "Postgres";
}
INSTANTIATE_TEST_SUITE_P(Engines, StoreTest, ::testing::Values(Engine::Sqlite, Engine::Postgres), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, PostgresStoreTest, ::testing::Values(Engine::Postgres), engineName);

TEST_P(StoreTest, FriendListsAreOneWayKeepTheirOrderAndExcludeTheBlacklist) {
    addAccounts({"alice", "bob", "carol", "dave"});
    for (const char* f : {"dave", "bob", "carol"}) EXPECT_TRUE(store_->addFriend("alice", f));
    EXPECT_FALSE(store_->addFriend("alice", "bob"));
    EXPECT_TRUE(store_->addFriend("carol", "bob"));
    EXPECT_EQ(friendNames("alice"), (std::vector<Bytes>{"dave", "bob", "carol"}));
    EXPECT_TRUE(friendNames("bob").empty());
    auto owners = store_->ownersListing("bob");
    std::sort(owners.begin(), owners.end());
    EXPECT_EQ(owners, (std::vector<Bytes>{"alice", "carol"}));

    EXPECT_TRUE(store_->addToBlacklist("alice", "bob"));
    EXPECT_EQ(friendNames("alice"), (std::vector<Bytes>{"dave", "carol"}));
    EXPECT_TRUE(store_->isBlacklisted("alice", "bob"));
    EXPECT_FALSE(store_->isBlacklisted("bob", "alice"));
    store_->addFriend("alice", "bob");
    EXPECT_FALSE(store_->isBlacklisted("alice", "bob"));
    EXPECT_TRUE(store_->removeFriend("alice", "bob"));
    EXPECT_FALSE(store_->removeFriend("alice", "bob"));
    Account taken;
    taken.name = "erin";
    taken.nick = "bob";
    EXPECT_THROW(store_->createAccount(taken), StoreError);
    EXPECT_FALSE(store_->account("erin"));
    store_->setCoins("alice", 1'000'000'000'000);  // past 32 bits
    EXPECT_EQ(store_->account("alice")->coins, 1'000'000'000'000);
}

TEST_P(StoreTest, ADatabaseOfANewerSchemaIsRefused) {
    store_.reset();
    setVersion(99);
    try {
        open();
        FAIL() << "opened a database of a newer schema";
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find("newer"), std::string::npos);
    }
}

// A database of the version before groups gains them and keeps what it held.
TEST_P(StoreTest, AVersion5DatabaseIsUpgradedWithGroups) {
    store_.reset();
    fresh();
    for (int v = 0; v < 5; ++v) raw(schemaStep(GetParam(), v));
    raw("INSERT INTO accounts (name, digest, nick, head, created_at) VALUES ('alice', 'x', 'a', 'm1', 0), "
        "('bob', 'x', 'b', 'm2', 0); INSERT INTO friends (owner, friend) VALUES ('alice', 'bob'); "
        "INSERT INTO waiting_messages (receiver, body, created_at) VALUES ('bob', 'hi', 0)");
    setVersion(5);
    store_ = open();
    Store& upgraded = *store_;
    EXPECT_EQ(upgraded.waitingMessages("bob", 0, 1).at(0).sub, kind::kChat.sub);
    const Bytes body("\0\xc4\xe3", 3);  // a NUL and GBK bytes: kept as bytes, not as text
    upgraded.storeMessage("bob", body);
    EXPECT_EQ(upgraded.waitingMessages("bob", 1, 1).at(0).body, body);
    EXPECT_EQ(upgraded.friends("alice")[0].nick, "b");
    const int64_t chess = upgraded.createGroup({0, "chess", "alice", ""});
    EXPECT_TRUE(upgraded.addMember(chess, "bob"));
    EXPECT_FALSE(upgraded.addMember(chess, "bob"));
    upgraded.addMember(upgraded.createGroup({0, "go", "bob", ""}), "alice");
    EXPECT_EQ(upgraded.coMembers("bob"), std::vector<Bytes>{"alice"});  // in both his groups, once
    upgraded.putJoinRequest({chess, {}, {}, "bob", "hi"});
    EXPECT_EQ(upgraded.joinRequestsTo("alice").at(0).group, "chess");
    EXPECT_EQ(upgraded.groupCard("chess")->host, "alice");  // the creator is host
    store_.reset();
    store_ = open();  // opened again: nothing left to do
    EXPECT_EQ(store_->groups().size(), 2u);
}

// A batch keeps what it can: a write that fails is undone alone. A fault that takes the whole
// transaction (a full disk; a connection cut in mid-batch) leaves nothing of it written, and is
// reported as itself, never as the rollback that follows.
TEST_P(StoreTest, ABatchUndoesAFailedWriteAloneAndAFaultWhole) {
    addAccounts({"alice"});
    const auto failed = store_->writeBatch(
        3,
        [&](size_t i) {
            if (i == 1)
                addAccounts({"alice"});  // taken: refused
            else
                store_->storeMessage("alice", std::to_string(i));
        },
        false);
    EXPECT_EQ(failed[0] + failed[2], "");
    EXPECT_NE(failed[1], "");
    EXPECT_EQ(store_->countWaiting("alice", 10), 2);

    if (!pg()) static_cast<SqliteStore&>(*store_).limitPages(1);  // no more pages than the file has now
    try {
        store_->writeBatch(
            500,
            [&](size_t i) {
                if (pg() && i == 250) cutConnection();
                store_->storeMessage("alice", std::string(4000, 'x'));
            },
            false);
        FAIL() << "the fault never came";
    } catch (const StoreError& e) {
        const char* expected = pg() ? "database connection lost" : "database or disk is full";
        EXPECT_NE(std::string(e.what()).find(expected), std::string::npos) << e.what();
        EXPECT_EQ(pg(), dynamic_cast<const StoreUnavailable*>(&e) != nullptr) << e.what();
    }
    if (!pg()) static_cast<SqliteStore&>(*store_).limitPages(1000);
    EXPECT_EQ(store_->countWaiting("alice", 1000), 2);  // PostgreSQL: connected again at once
}

// Coming in again, at any server, puts one last; a server that stopped reporting hides its people.
TEST_P(StoreTest, TheRoomListsItsPeopleInTheOrderTheyCame) {
    EXPECT_FALSE(store_->room());
    store_->setRoom({"hall", {"dave", "erin"}});
    EXPECT_EQ(store_->room()->staff, (std::vector<Bytes>{"dave", "erin"}));
    for (const char* a : {"ann", "bob", "cat"}) store_->enterRoom(a, "s1");
    store_->enterRoom("ann", "s2");
    store_->leaveRoom("bob", "s2");
    store_->reportLoad("s1", 2, 100);
    store_->reportLoad("s2", 1, 50);
    EXPECT_EQ(store_->roomMembersElsewhere("s3", 100, 10), (std::vector<Bytes>{"bob", "cat"}));
    EXPECT_EQ(store_->roomMembersElsewhere("s1", 0, 10), std::vector<Bytes>{"ann"});
    EXPECT_EQ(store_->roomMembersElsewhere("s3", 0, 10), (std::vector<Bytes>{"bob", "cat", "ann"}));
}

// A message is acknowledged only once it is in the database: a connection lost under the write
// queue keeps the write queued, unacknowledged, until the connection is back.
TEST_P(PostgresStoreTest, AWriteIsAcknowledgedOnlyOnceMade) {
    addAccounts({"bob"});
    Logger log;
    WriteQueue writes(*store_, log);
    std::vector<bool> told;
    writes.add(
        "store a message", [](Store& s) { s.storeMessage("bob", "hi"); },
        [&](bool written) { told.push_back(written); });
    cutConnection();
    const Time t0 = Clock::now();
    writes.flush(t0);
    EXPECT_TRUE(told.empty());
    EXPECT_EQ(writes.size(), 1u);
    writes.flush(t0 + WriteQueue::kRetry);
    EXPECT_EQ(told, std::vector<bool>{true});
    EXPECT_EQ(store_->countWaiting("bob", 10), 1);
}

// An event one server publishes wakes the other at its commit and comes in the notification
// itself; its own events wake nobody. The table fills a hole in the ids (here a row that was never
// announced) and brings a body too large to be carried.
TEST_P(PostgresStoreTest, EventsComeInTheirNotificationsAndTheTableFillsTheGaps) {
    const auto other = open();
    const auto feed = other->busFeed();
    int64_t last = feed->start();
    const auto hear = [&](const char* origin, const Bytes& body) {
        const BusEvent e{0, origin, BusKind::GroupLine, g("宋"), 0, {}, body};
        store_->writeBatch(
            1, [&](size_t) { feed->publish(*store_, e); }, true);
        pollfd p{feed->wakeFd(), POLLIN, 0};
        EXPECT_EQ(poll(&p, 1, 10000), 1) << "no wake within ten seconds";
        return feed->takeWake("b:2");
    };
    const auto read = [&] {
        const auto r = feed->read(last, "b:2");
        last = r.lastId;
        std::vector<Bytes> bodies;
        for (const BusEvent& e : r.events) bodies.push_back(e.account + ":" + e.body);
        return bodies;
    };
    EXPECT_FALSE(hear("b:2", "own"));
    EXPECT_TRUE(hear("a:1", "first"));
    EXPECT_EQ(read(), std::vector<Bytes>{g("宋:first")});  // from the table, as at every start
    hear("a:1", g("听到"));
    raw("DELETE FROM bus");
    EXPECT_EQ(read(), std::vector<Bytes>{g("宋:听到")});
    raw("INSERT INTO bus (origin, kind, account, code, target, created_at, body) "
        "VALUES ('a:1', 4, '宋', 0, '', 0, 'unheard')");
    hear("a:1", "after");
    EXPECT_EQ(read(), (std::vector<Bytes>{g("宋:unheard"), g("宋:after")}));
    hear("a:1", Bytes(5000, 'x'));
    EXPECT_EQ(read(), std::vector<Bytes>{g("宋:") + Bytes(5000, 'x')});
}

// Everything a user sees comes across, group numbers and roster order included; the copy is
// checked against the file, and a second copy into the same database is refused.
TEST_P(PostgresStoreTest, MigrateCopiesASqliteFileWhole) {
    {
        SqliteStore file(path_);
        std::ostringstream ignored;
        runAdmin(file, Demo{}, ignored);
        file.dissolveGroup(file.createGroup({0, "gone", "bob", ""}));  // numbers go on after it
        file.addToBlacklist("erin", "dave");
        file.storeMessage("dave", std::string("\0\xff bytes", 8), kind::kGroupChat.sub);
        const int64_t chess = file.createGroup({0, "chess", "carol", "intro"});
        file.setRole(chess, "butler", "carol");
        file.putJoinRequest({chess, {}, {}, "dave", "let me in", JoinState::Told});
        Account alice = *file.account("alice");
        alice.starSign = gbk::fromUtf8("天秤座");
        file.saveProfile(alice);
        file.enterRoom("bob", "s1");
        file.enterRoom("carol", "s1");
        file.reportLoad("s1", 2, 100);
    }
    store_.reset();
    fresh();
    std::ostringstream report;
    EXPECT_TRUE(migrateStore(path_, pgUri(db_), report)) << report.str();
    EXPECT_NE(report.str().find("the copy holds everything"), std::string::npos) << report.str();
    // Text is UTF-8 inside, as any other client of the database reads it.
    EXPECT_TRUE(pgRun(db_,
                      "DO $$BEGIN IF NOT EXISTS (SELECT 1 FROM accounts WHERE nick = '爱丽丝') THEN "
                      "RAISE 'no nick in UTF-8'; END IF; END$$"));
    store_ = open();
    EXPECT_EQ(store_->group("chess")->id, 3);
    EXPECT_EQ(store_->createGroup({0, "new", "bob", ""}), 4);
    EXPECT_THROW(migrateStore(path_, pgUri(db_), report), StoreError);
}

struct Locker {
    explicit Locker(const std::string& path) {
        sqlite3_open(path.c_str(), &db);
        EXPECT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    void release() { sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr); }
    ~Locker() { sqlite3_close(db); }
    sqlite3* db = nullptr;
};

TEST_F(ChatTest, ALockedDatabaseHoldsBackWritesNotTheLoop) {
    enter(bob, "bob");
    Locker other(dbPath());
    EXPECT_FALSE(tryLogin(alice, "alice")) << "answered before its session was stored";
    EXPECT_FALSE(tryLogin(alice, "alice"));  // the client's repeat: still one login
    say(bob, kind::kChat, 0, {"dave", "1 locked out"});
    advance(5s);
    say(bob, kind::kKeepAlive);
    EXPECT_EQ(inbox(bob).back().kind(), kind::kKeepAlive);
    EXPECT_TRUE(framesOf(alice, kind::kLogin).empty());

    other.release();
    advance(200ms);
    EXPECT_EQ(codesOf(framesOf(alice, kind::kLogin)), std::vector<uint16_t>{code::kLoginAccepted});
    EXPECT_EQ(framesOf(bob, kind::kPresence).back().fields(), std::vector<Bytes>{"alice"});
    EXPECT_EQ(store().waitingMessages("dave", 0, 10).size(), 1u);
    EXPECT_EQ(chat().writesWaiting(), 0u);
}

// A full disk or a file made read-only: what cannot be written is reported once, with why, and
// a login whose session cannot be stored is refused, leaving no session behind.
TEST_F(ChatTest, AnUnwritableDatabaseRefusesLoginsWholeAndSaysWhyOnce) {
    enter(bob, "bob");
    store().refuseChanges(true);
    const auto linesBefore = std::count(logText().begin(), logText().end(), '\n');
    say(bob, kind::kChat, 0, {"dave", "1 nowhere to keep it"});
    const auto refused = tryLogin(alice, "alice");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->header.code, code::kWrongPassword);
    EXPECT_FALSE(chat().sessionOf("alice"));
    const std::string log = logText().substr(logText().size() - std::min(logText().size(), size_t{1000}));
    EXPECT_NE(
        log.find("could not store a waiting message: database error: attempt to write a readonly database"),
        std::string::npos)
        << log;
    EXPECT_EQ(std::count(logText().begin(), logText().end(), '\n') - linesBefore, 3) << log;

    store().refuseChanges(false);
    EXPECT_EQ(login(alice, "alice").header.code, code::kLoginAccepted);
}

// Without the reopen the read below dies of SIGBUS: the index is mapped past the file's new end.
TEST_F(ChatTest, AnIndexCutShortByAnotherProcessIsRebuiltNotFatal) {
    store().storeMessage("dave", "before");
    ASSERT_EQ(truncate((dbPath() + "-shm").c_str(), 0), 0);
    EXPECT_TRUE(store().reopenIfSharedMemoryDamaged());
    store().storeMessage("dave", "after");
    EXPECT_EQ(store().waitingMessages("dave", 0, 10).size(), 2u);
    EXPECT_FALSE(store().reopenIfSharedMemoryDamaged());
}

}  // namespace
}  // namespace nq::server
