// The SQLite store: what the chat service tests cannot see through the protocol.

#include "server/sqlite_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>

#include "support/temp_dir.h"

namespace nq::server {
namespace {

Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

class SqliteStoreTest : public ::testing::Test {
  protected:
    SqliteStoreTest() {
        for (auto [n, k] :
             {std::pair{"alice", "爱丽丝"}, {"bob", "鲍勃"}, {"carol", "卡罗尔"}, {"dave", "戴夫"}}) {
            Account a;
            a.name = n;
            a.nick = g(k);
            a.head = "m1";
            a.digest = "s1$salt$digest";
            store_->createAccount(a);
        }
    }
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
    a.name = g("小明");
    a.nick = g("明明");
    a.head = "w10";
    a.digest = "s1$salt$digest";
    a.coins = 1234567890123;
    a.signature = g("签名/带斜杠");
    int i = 0;
    for (Bytes* t : {&a.country, &a.province, &a.city, &a.email, &a.address, &a.postcode, &a.phone, &a.mobile,
                     &a.realName, &a.school, &a.work, &a.zodiacAnimal, &a.bloodType, &a.starSign})
        *t = g("字段" + std::to_string(i++));
    a.setting = 2;
    store_->createAccount(a);
    store_ = std::make_unique<SqliteStore>(path_);
    for (auto found : {store_->account(g("小明")), store_->accountByNick(g("明明"))}) {
        ASSERT_TRUE(found);
        EXPECT_EQ(std::tie(found->name, found->nick, found->head, found->signature, found->country,
                           found->starSign),
                  std::tie(a.name, a.nick, a.head, a.signature, a.country, a.starSign));
        EXPECT_EQ(found->coins, a.coins);
        EXPECT_EQ(found->setting, 2);
    }
    EXPECT_FALSE(store_->account(Bytes("\xFF\xFF", 2)));  // not GBK: names nobody
    EXPECT_FALSE(store_->account(g("明明")));             // a nick is not an account
    EXPECT_THROW(store_->setDigest("nobody", "x"), StoreError);
}

TEST_F(SqliteStoreTest, FriendListsAreOneWayKeepTheirOrderAndExcludeTheBlacklist) {
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
    EXPECT_FALSE(store_->removeFromBlacklist("alice", "bob"));
    EXPECT_TRUE(store_->removeFriend("alice", "bob"));
    EXPECT_FALSE(store_->removeFriend("alice", "bob"));
}

TEST_F(SqliteStoreTest, SchemaIsVersionedAndANewerOneIsRefused) {
    EXPECT_EQ(store_->schemaVersion(), SqliteStore::kSchemaVersion);
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
