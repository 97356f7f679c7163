// The database as another process or a full disk leaves it: the loop goes on serving, and no
// session exists that the store does not know of.

#include <sqlite3.h>
#include <unistd.h>

#include "chat_fixture.h"

namespace nq::server {
namespace {

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
    const auto answer = framesOf(alice, kind::kLogin);
    ASSERT_EQ(answer.size(), 1u);
    EXPECT_EQ(answer[0].header.code, code::kLoginAccepted);
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
