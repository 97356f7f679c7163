// The SQLite store: what the chat service tests cannot see through the protocol. A missing
// folder is refused as bad input (process_test).

#include "server/sqlite_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>

#include "support/temp_dir.h"

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

}  // namespace
}  // namespace nq::server
