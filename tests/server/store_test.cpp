// The SQLite store: what the chat service tests cannot see through the protocol (a missing
// folder is refused as bad input, process_test); and the database as another process or a full
// disk leaves it: the loop goes on serving, and no session exists that the store does not know of.

#include "server/sqlite_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>

#include "chat_fixture.h"
#include "server/schema.h"

namespace nq::server {
namespace {

class SqliteStoreTest : public ::testing::Test {
  protected:
    std::vector<Bytes> friendNames(const char* owner) {
        std::vector<Bytes> out;
        for (const Contact& c : store_->friends(owner)) out.push_back(c.account);
        return out;
    }
    test::TempDir dir_{"nqserver-store"};
    const std::string path_ = dir_.file("store.db");
    std::unique_ptr<SqliteStore> store_ = std::make_unique<SqliteStore>(path_);
};

TEST_F(SqliteStoreTest, FriendListsAreOneWayKeepTheirOrderAndExcludeTheBlacklist) {
    for (const char* n : {"alice", "bob", "carol", "dave"}) {
        Account a;
        a.name = a.nick = n;
        a.head = "m1";
        store_->createAccount(a);
    }
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
}

TEST_F(SqliteStoreTest, ADatabaseOfANewerSchemaIsRefused) {
    store_.reset();
    sqlite3* db = nullptr;
    sqlite3_open(path_.c_str(), &db);
    sqlite3_exec(db, "PRAGMA user_version=99", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    try {
        SqliteStore newer(path_);
        FAIL() << "opened a database of a newer schema";
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find("newer"), std::string::npos);
    }
}

// A database of the version before groups gains them and keeps what it held.
TEST_F(SqliteStoreTest, AVersion5DatabaseIsUpgradedWithGroups) {
    const std::string path = dir_.file("v5.db");
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    for (int v = 0; v < 5; ++v)
        ASSERT_EQ(sqlite3_exec(db, schemaStep(Engine::Sqlite, v).c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_exec(
        db,
        "INSERT INTO accounts (name, digest, nick, head, created_at) VALUES ('alice', 'x', 'a', 'm1', 0), "
        "('bob', 'x', 'b', 'm2', 0); INSERT INTO friends VALUES ('alice', 'bob'); PRAGMA user_version=5; "
        "INSERT INTO waiting_messages (receiver, body, created_at) VALUES ('bob', 'hi', 0)",
        nullptr, nullptr, nullptr);
    sqlite3_close(db);
    SqliteStore upgraded(path);
    EXPECT_EQ(upgraded.schemaVersion(), SqliteStore::kSchemaVersion);
    EXPECT_EQ(upgraded.waitingMessages("bob", 0, 1).at(0).sub, kind::kChat.sub);
    EXPECT_EQ(upgraded.friends("alice")[0].nick, "b");
    const int64_t chess = upgraded.createGroup({0, "chess", "alice", ""});
    EXPECT_TRUE(upgraded.addMember(chess, "bob"));
    EXPECT_FALSE(upgraded.addMember(chess, "bob"));
    upgraded.addMember(upgraded.createGroup({0, "go", "bob", ""}), "alice");
    EXPECT_EQ(upgraded.coMembers("bob"), std::vector<Bytes>{"alice"});  // in both his groups, once
    upgraded.putJoinRequest({chess, {}, {}, "bob", "hi"});
    EXPECT_EQ(upgraded.joinRequestsTo("alice").at(0).group, "chess");
    EXPECT_EQ(upgraded.groupCard("chess")->host, "alice");  // the creator is host
}

// A batch keeps what it can: a write that fails is undone alone, and a disk that fills takes the
// whole transaction, reported as full, never as the rollback that follows.
TEST_F(SqliteStoreTest, ABatchUndoesAFailedWriteAloneAndAFullDiskWhole) {
    Account a;
    a.name = a.nick = "alice";
    a.digest = "x";
    store_->createAccount(a);
    const auto failed = store_->writeBatch(
        3,
        [&](size_t i) {
            if (i == 1)
                store_->createAccount(a);  // taken: refused
            else
                store_->storeMessage("alice", std::to_string(i));
        },
        false);
    EXPECT_EQ(failed[0] + failed[2], "");
    EXPECT_NE(failed[1], "");
    EXPECT_EQ(store_->countWaiting("alice", 10), 2);

    store_->limitPages(1);  // no more pages than the file has now
    try {
        store_->writeBatch(
            500, [&](size_t) { store_->storeMessage("alice", std::string(4000, 'x')); }, false);
        FAIL() << "the disk never filled";
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find("database or disk is full"), std::string::npos) << e.what();
    }
    EXPECT_EQ(store_->countWaiting("alice", 1000), 2);
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
