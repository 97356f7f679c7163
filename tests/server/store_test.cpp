#include "server/sqlite_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>

namespace nq::server {
namespace {

Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

Account person(const char* name, const char* nick, const char* head = "m1") {
    Account a;
    a.name = name;
    a.nick = g(nick);
    a.head = head;
    a.digest = "s1$salt$digest";
    return a;
}

class SqliteStoreTest : public ::testing::Test {
  protected:
    SqliteStoreTest() {
        char pattern[] = "/tmp/nqserver-store-XXXXXX";
        folder_ = mkdtemp(pattern);
        path_ = folder_ + "/store.db";
        store_ = std::make_unique<SqliteStore>(path_);
        for (auto [n, k] :
             {std::pair{"alice", "爱丽丝"}, {"bob", "鲍勃"}, {"carol", "卡罗尔"}, {"dave", "戴夫"}})
            store_->createAccount(person(n, k));
    }
    ~SqliteStoreTest() override {
        store_.reset();
        std::system(("rm -rf '" + folder_ + "'").c_str());
    }
    void reopen() {
        store_.reset();
        store_ = std::make_unique<SqliteStore>(path_);
    }
    std::vector<Bytes> friendNames(const char* owner) {
        std::vector<Bytes> out;
        for (const Contact& c : store_->friends(owner)) out.push_back(c.account);
        return out;
    }

    std::string folder_;
    std::string path_;
    std::unique_ptr<SqliteStore> store_;
};

TEST_F(SqliteStoreTest, AccountKeepsEveryProfileFieldInGbk) {
    Account a = person("小明", "明明", "w10");
    a.name = g("小明");
    a.level = 7;
    a.coins = 1234567890123;
    a.signature = g("签名/带斜杠");
    a.age = 33;
    a.sex = 0;
    Bytes* texts[] = {&a.country,  &a.province,     &a.city,      &a.email,    &a.address,
                      &a.postcode, &a.phone,        &a.mobile,    &a.realName, &a.school,
                      &a.work,     &a.zodiacAnimal, &a.bloodType, &a.starSign};
    int i = 0;
    for (Bytes* t : texts) *t = g("字段" + std::to_string(i++));
    a.setting = 2;
    store_->createAccount(a);
    reopen();
    for (auto found : {store_->account(g("小明")), store_->accountByNick(g("明明"))}) {
        ASSERT_TRUE(found);
        EXPECT_EQ(found->name, a.name);
        EXPECT_EQ(found->nick, a.nick);
        EXPECT_EQ(found->head, "w10");
        EXPECT_EQ(found->coins, a.coins);
        EXPECT_EQ(found->signature, a.signature);
        EXPECT_EQ(found->starSign, a.starSign);
        EXPECT_EQ(found->zodiacAnimal, a.zodiacAnimal);
        EXPECT_EQ(found->country, a.country);
        EXPECT_EQ(found->sex, 0);
        EXPECT_EQ(found->setting, 2);
    }
    EXPECT_FALSE(store_->account("nobody"));
    EXPECT_FALSE(store_->account(Bytes("\xFF\xFF", 2)));  // not GBK: names nobody
    EXPECT_FALSE(store_->account(g("明明")));             // a nick is not an account
}

TEST_F(SqliteStoreTest, NamesAndNicksAreUnique) {
    try {
        store_->createAccount(person("alice", "另一个"));
        FAIL() << "a second alice was made";
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find("exists"), std::string::npos);
    }
    try {
        store_->createAccount(person("eve", "鲍勃"));
        FAIL() << "a second 鲍勃 was made";
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find("taken"), std::string::npos);
    }
    EXPECT_THROW(store_->setDigest("nobody", "x"), StoreError);
}

TEST_F(SqliteStoreTest, FriendListsAreOneWayAndKeepTheirOrder) {
    EXPECT_TRUE(store_->addFriend("alice", "dave"));
    EXPECT_TRUE(store_->addFriend("alice", "bob"));
    EXPECT_TRUE(store_->addFriend("alice", "carol"));
    EXPECT_FALSE(store_->addFriend("alice", "bob"));
    EXPECT_TRUE(store_->addFriend("carol", "bob"));
    EXPECT_EQ(friendNames("alice"), (std::vector<Bytes>{"dave", "bob", "carol"}));
    EXPECT_TRUE(friendNames("bob").empty());
    auto owners = store_->ownersListing("bob");
    std::sort(owners.begin(), owners.end());
    EXPECT_EQ(owners, (std::vector<Bytes>{"alice", "carol"}));
    const auto first = store_->friends("alice").front();
    EXPECT_EQ(first.nick, g("戴夫"));
    EXPECT_TRUE(store_->removeFriend("alice", "bob"));
    EXPECT_FALSE(store_->removeFriend("alice", "bob"));
    EXPECT_EQ(friendNames("alice"), (std::vector<Bytes>{"dave", "carol"}));
}

TEST_F(SqliteStoreTest, FriendsAndBlacklistExcludeEachOther) {
    store_->addFriend("alice", "bob");
    EXPECT_TRUE(store_->addToBlacklist("alice", "bob"));
    EXPECT_TRUE(friendNames("alice").empty());
    EXPECT_TRUE(store_->isBlacklisted("alice", "bob"));
    EXPECT_FALSE(store_->isBlacklisted("bob", "alice"));
    EXPECT_EQ(store_->blacklist("alice").at(0).nick, g("鲍勃"));

    store_->addFriend("alice", "bob");
    EXPECT_FALSE(store_->isBlacklisted("alice", "bob"));
    EXPECT_EQ(friendNames("alice"), std::vector<Bytes>{"bob"});
    EXPECT_FALSE(store_->removeFromBlacklist("alice", "bob"));
}

TEST_F(SqliteStoreTest, WaitingMessagesComeOldestFirstInSlicesAndSurviveReopening) {
    std::vector<int64_t> ids;
    for (int i = 0; i < 5; ++i) ids.push_back(store_->storeMessage("bob", "m" + std::to_string(i)));
    store_->storeMessage("carol", "other");
    reopen();
    auto slice = store_->waitingMessages("bob", 0, 3);
    ASSERT_EQ(slice.size(), 3u);
    EXPECT_EQ(slice[0].body, "m0");
    EXPECT_EQ(slice[2].body, "m2");
    slice = store_->waitingMessages("bob", slice.back().id, 3);
    ASSERT_EQ(slice.size(), 2u);
    EXPECT_EQ(slice[1].body, "m4");

    const int64_t gone[] = {ids[0], ids[1]};
    store_->deleteMessages(gone);
    slice = store_->waitingMessages("bob", 0, 10);
    ASSERT_EQ(slice.size(), 3u);
    EXPECT_EQ(slice[0].body, "m2");
    EXPECT_EQ(store_->waitingMessages("carol", 0, 10).size(), 1u);
}

TEST_F(SqliteStoreTest, NoticesAndLoadsAreSharedThroughTheFile) {
    const int64_t before = store_->lastNoticeId();
    const int64_t id = store_->queueNotice(NoticeKind::Box, g("维护"));
    SqliteStore other(path_);  // another process, as the admin command is
    EXPECT_EQ(other.lastNoticeId(), id);
    const auto notices = other.noticesAfter(before);
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].kind, NoticeKind::Box);
    EXPECT_EQ(notices[0].text, g("维护"));
    EXPECT_TRUE(other.noticesAfter(id).empty());

    store_->reportLoad("10.0.0.1:8000", 3, 100);
    store_->reportLoad("10.0.0.1:8000", 5, 101);
    store_->reportLoad("10.0.0.2:8000", 1, 102);
    auto loads = other.loads();
    ASSERT_EQ(loads.size(), 2u);
    EXPECT_EQ(loads[0].sessions, 5);
    EXPECT_EQ(loads[0].heartbeat, 101);
    store_->withdrawLoad("10.0.0.1:8000");
    EXPECT_EQ(other.loads().size(), 1u);
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
