// The SQLite store: what the chat service tests cannot see through the protocol.

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

TEST_F(SqliteStoreTest, AccountKeepsEveryProfileFieldInGbkAcrossReopening) {
    Account a;
    a.name = gbk::fromUtf8("小明");
    a.nick = gbk::fromUtf8("明明");
    a.head = "w10";
    a.digest = "s1$salt$digest";
    a.coins = 1234567890123;
    a.setting = 2;
    a.signature = gbk::fromUtf8("签名");
    a.city = gbk::fromUtf8("广州");
    a.starSign = gbk::fromUtf8("天秤座");
    store_->createAccount(a);
    store_ = std::make_unique<SqliteStore>(path_);
    for (auto found : {store_->account(a.name), store_->accountByNick(a.nick)}) {
        ASSERT_TRUE(found);
        EXPECT_EQ(std::tie(found->name, found->nick, found->head, found->signature, found->city,
                           found->starSign, found->coins, found->setting),
                  std::tie(a.name, a.nick, a.head, a.signature, a.city, a.starSign, a.coins, a.setting));
    }
    EXPECT_FALSE(store_->account(Bytes("\xFF\xFF", 2)));  // not GBK: names nobody
    EXPECT_FALSE(store_->account(a.nick));                // a nick is not an account
    EXPECT_THROW(store_->setDigest("nobody", "x"), StoreError);
}

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

TEST_F(SqliteStoreTest, ANewerSchemaOrAMissingFolderIsRefused) {
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
    EXPECT_THROW(SqliteStore("/nonexistent/folder/x.db"), StoreError);
}

}  // namespace
}  // namespace nq::server
