#include <gtest/gtest.h>

#include "contacts/contacts.h"
#include "contacts/profile_cache.h"
#include "support/session_harness.h"

namespace nq::test {
namespace {

// alice logged in, her contact model and profile model joined; the test plays the server.
struct Rig : SessionHarness {
    Contacts c{*session};
    ProfileCache p{*session, c};
    std::vector<ProfileShown> shown;
    Rig() {
        QObject::connect(&p, &ProfileCache::profileDue,
                         [this](const ProfileShown& s) { shown.push_back(s); });
        login();
    }
    void ini(std::string_view file, std::string_view section, std::string_view key, std::string_view value) {
        CIniFile(session->userFile(file)).WriteIniKey(g(section), g(key), g(value));
    }
    std::string key(std::string_view file, std::string_view section, std::string_view k) {
        return gbk::toUtf8(CIniFile(session->userFile(file)).GetIniKey(g(section), g(k)));
    }
    std::string fileText(std::string_view file) { return gbk::toUtf8(readFile(session->userFile(file))); }
    void record(const std::vector<std::string_view>& fields) { serve(kind::kProfile, 1, fields); }
};

const std::vector<std::string_view> kBob = {"bob",    "3",      "书生", "1200", "鲍勃", "w2",     "签名",
                                            "30",     "1",      "",     "上海", "浦东", "b@x.cn", "路1号",
                                            "200000", "021-1",  "139",  "鲍",   "复旦", "某厂",   "虎",
                                            "A型",    "双子座", "2",    "0"};

TEST(ProfileCache, ARequestGoesOutOnlyForAPersonNotCachedUnderTheResolvedName) {
    struct Row {
        const char *name, *itsName, *cachedAs;
        int mode;
        const char *frame, *shownName;
    } rows[] = {
        {"bob", "", "bob", 3, "", "bob"},
        {"bob", "", "", 3, "3,1,3:alice|bob|", ""},
        {"鲍勃", "bob", "bob", 4, "", "bob"},
        {"鲍勃", "bob", "", 4, "3,1,3:alice|bob|", ""},
        {"鲍勃", "", "bob", 4, "3,1,4:alice|鲍勃|", ""},
        {"鲍勃", "bob", "bob", 3, "3,1,3:alice|鲍勃|", ""},
    };
    for (const Row& row : rows) {
        Rig r;
        if (*row.itsName) {
            r.ini("NQUser.nq", row.name, "ItsName", row.itsName);
        }
        if (*row.cachedAs) {
            r.ini("UserInfo.dat", row.cachedAs, "UserName", row.cachedAs);
        }
        r.p.ShowProfile(g(row.name), row.mode, true);
        EXPECT_EQ(r.sent(), row.frame) << row.name << row.mode;
        EXPECT_EQ(r.session->waitReply, *row.frame != 0);
        ASSERT_EQ(r.shown.size(), *row.shownName ? 1u : 0u);
        if (*row.shownName) {
            EXPECT_EQ(gbk::toUtf8(r.shown[0].name), row.shownName);
        }
    }
}

// Only the record writes the section; a freshly added friend, listed under his account and
// online, gets his nick and head; a friend offline or a stranger is left alone.
TEST(ProfileCache, TheRecordAloneWritesTheCacheAndFinishesAnAddedFriend) {
    struct Row {
        const char *listed, *online, *listAfter, *nickKeys;
    } rows[] = {
        {"bob", "1", "鲍勃:12", "bob|12|鲍勃"},
        {"bob", "", "bob:2", "||"},
        {"carol", "1", "carol:2", "||"},
    };
    for (const Row& row : rows) {
        Rig r;
        r.c.MyList(0).AddItem(g(row.listed), "", 2);
        r.ini("NQUser.nq", "bob", "Online", row.online);
        r.record(kBob);  // as after an add: stored, and no window unasked
        EXPECT_TRUE(r.shown.empty());
        const ItemList& l = r.c.MyList(0);
        EXPECT_EQ(gbk::toUtf8(l.Item(1).Caption) + ":" + std::to_string(l.Item(1).icon), row.listAfter);
        EXPECT_EQ(r.key("NQUser.nq", "鲍勃", "ItsName") + "|" + r.key("NQUser.nq", "鲍勃", "HeadID") + "|" +
                      r.key("NQUser.nq", "bob", "DearName"),
                  row.nickKeys);
        EXPECT_NE(
            r.fileText("UserInfo.dat")
                .find("[bob]\r\nUserName=bob\r\nUserLevel=3\r\nLevelName=书生\r\nUserCoin=1200\r\n"
                      "dearName=鲍勃\r\nUImagID=12\r\nUnotation=签名\r\nUage=30\r\nUprovince=上海\r\n"
                      "Ucity=浦东\r\nUemail=b@x.cn\r\nUaddress=路1号\r\nUposscode=200000\r\nUserSex=1\r\n"
                      "Uphone=021-1\r\nUcellPhone=139\r\nUrealname=鲍\r\nUschool=复旦\r\nUjob=某厂\r\n"
                      "Ushengxiao=虎\r\nUbloodtype=A型\r\nUxingzuo=双子座\r\nUSetting1=2\r\nUarea=\r\n"),
            std::string::npos)
            << r.fileText("UserInfo.dat");
        // The cached window never shows the home number; it leaves the window wanted, so the next
        // record shows it again, with the phones swapped.
        r.p.ShowProfile(g("bob"), 3, true);
        r.record(kBob);
        ASSERT_EQ(r.shown.size(), 2u);
        EXPECT_EQ(gbk::toUtf8(r.shown[0].call + "|" + r.shown[0].mobile + "|" + r.shown[1].call + "|" +
                              r.shown[1].mobile + "|" + r.shown[1].area),
                  "|139|139|021-1|中华人民共和国");
    }
}

TEST(ProfileCache, TheOwnProfileGoesOutAsOneMessageInItsOrderAndWithinItsLimits) {
    struct Row {
        const char *imageId, *nick, *frame;
    } rows[] = {
        {"11", "艾",
         "4,1,0:alice|艾|w1|签|25|1|国外|北京|京|e@x|址|100|01|13|丽|大学|单位|鼠|O型|水瓶座|0|0|"},
        {"10", "一二三四五六七八九十十一",
         "4,1,0:alice|一二三四五六七八九十|m9|签|25|1|国外|北京|京|e@x|址|100|01|13|丽|大学|单位|鼠|O型|"
         "水瓶座|0|0|"},
    };
    for (const Row& row : rows) {
        Rig r;
        r.ini("UserInfo.dat", "alice", "UImagID", row.imageId);
        OwnProfileEdits e{g(row.nick), g("签"),   "25",      true,    g("国外"), g("北京"),
                          g("京"),     "e@x",     g("址"),   "100",   "01",      "13",
                          g("丽"),     g("大学"), g("单位"), g("鼠"), g("O型"),  g("水瓶座")};
        r.p.saveOwnProfile(e);
        EXPECT_EQ(r.sent(), row.frame);
    }
}

}  // namespace
}  // namespace nq::test
