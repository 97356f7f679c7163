#include <gtest/gtest.h>

#include <filesystem>

#include "contacts/contacts.h"
#include "store/ini_text.h"
#include "support/session_harness.h"

namespace nq::test {
namespace {

// A session with the contact model joined as the main window joins it; the chat server is
// played by the test. Names in tests are UTF-8 and travel as GBK.
class Rig : public SessionHarness {
  public:
    Rig() {
        QObject::connect(session.get(), &Session::cachedListsDue, &c, &Contacts::loadFromfile);
        QObject::connect(session.get(), &Session::saveQuitDue, &c, &Contacts::saveQuit);
    }
    void offline(const std::string& me = "me") {
        session->myName = me;
        std::filesystem::create_directories(session->userFolder());
    }
    std::string list(int i) {
        std::string out;
        for (int p = 1; p <= c.MyList(i).count(); ++p)
            out += (p > 1 ? " " : "") + gbk::toUtf8(c.MyList(i).Item(p).Caption) + ":" +
                   std::to_string(c.MyList(i).Item(p).icon);
        return out;
    }
    std::string node(int n) {
        NodeTree& t = c.MyTree();
        std::string out = gbk::toUtf8(t.text(n)) + ":" + std::to_string(t.image(n));
        for (int k : t.children(n)) out += (k == t.children(n).front() ? "{" : " ") + node(k);
        return t.hasChildren(n) ? out + "}" : out;
    }
    std::string tree() {
        std::string out;
        for (int n = 1; n <= c.MyTree().count(); ++n)
            if (!c.MyTree().parent(n)) out += (out.empty() ? "" : " ") + node(n);
        return out;
    }
    std::string userFile() { return session->userFile("NQUser.nq"); }
    std::string key(std::string_view section, std::string_view k) {
        return gbk::toUtf8(CIniFile(userFile()).GetIniKey(g(section), g(k)));
    }
    std::vector<FrameKind> sentKinds() {
        std::vector<FrameKind> out;
        while (!chat.sent.empty()) out.push_back(kindOf(sentOn(chat)));
        return out;
    }

    Contacts c{*session};
};

TEST(Contacts, AScriptedSessionLeavesTheFileWrittenByHand) {
    Rig r;
    r.login();
    r.serve(kind::kFriendRoster, 1, {"bob", "m3", "鲍勃", "carol", "w2", "卡罗", "dave", "m0", "戴夫"});
    r.serve(kind::kBlacklistRoster, 1, {"erin", "w5"});
    r.serve(kind::kGroupRoster, 1, {"101", "山庄一", "bob", "102", "Club", "zed"});
    r.serve(kind::kFriendRoster, 3, {"carol", "w2", "bob", "m3"});
    EXPECT_EQ(r.list(0), "卡罗:12 鲍勃:4 戴夫:21");
    r.c.treeExpanded(1, true);
    r.tick();
    r.c.treeExpanded(1, false);  // members are asked for once a run
    r.serve(kind::kMemberRoster, 1, {"山庄一", "bob", "m3", "frank", "w1"});
    r.serve(kind::kPresence, code::kOnline, {"frank"});
    r.serve(kind::kPresence, code::kOffline, {"frank"});
    r.serve(kind::kPresence, code::kOffline, {"bob"});
    r.serve(kind::kPresence, code::kOnline, {"dave"});  // m0 is index 21, which lists count as online
    EXPECT_EQ(r.tree(), "山庄一:1{frank:31 bob:24} Club:1{zed:42}");
    EXPECT_EQ(r.list(0), "卡罗:12 戴夫:21 鲍勃:24");
    r.serve(kind::kAddFriend, 1, {"alice", "gina"});
    r.serve(kind::kRemoveFromBlacklist, 1, {"alice", "erin"});
    r.tick();
    EXPECT_EQ(r.sentKinds(), (std::vector{kind::kAfterRosters, kind::kMemberRoster, kind::kProfile}));
    EXPECT_EQ(std::tuple(r.c.friendCount, r.c.onlineCount), std::tuple(4, 2));
    r.session->unload();
    EXPECT_EQ(readFile(r.userFile()), readFile(NQ_CONTACTS_DATA "/session_end.nq"));
}

// The file the scripted session left, read back at the next login; once more with its friend
// count at 0, which hides the cached groups as well.
TEST(Contacts, TheCacheFillsFriendsAndGroupsButNeverTheBlacklist) {
    for (const char* friends : {"Num=4", "Num=0"}) {
        Rig r;
        std::string cache = readFile(NQ_CONTACTS_DATA "/session_end.nq");
        cache.replace(cache.find("Num=4"), 5, friends);
        cache.erase(cache.find("2HeadId=31\r\n"), 12);
        std::filesystem::create_directories(r.home() + "/alice");
        writeFile(r.home() + "/alice/NQUser.nq", cache);
        r.login();
        const bool any = friends[4] != '0';
        EXPECT_EQ(r.list(0), any ? "gina:2 卡罗:32 戴夫:21 鲍勃:24" : "");
        EXPECT_EQ(r.tree(), any ? "山庄一:1{bob:24 frank:1} Club:1{zed:42}" : "");
        EXPECT_EQ(r.list(1), "");
    }
}

TEST(Contacts, PresenceMovesFriendsAndEveryNodeOfTheAccount) {
    Rig r;
    r.offline();
    r.serve(kind::kFriendRoster, 1, {"a", "m2", "A", "b", "m3", "B"});
    for (const char* group : {"G1", "G2"}) r.c.AddVil(r.c.MyTree(), g(group), 1);
    r.c.AddVilmem(r.c.MyTree(), "G1", "x", 25);
    r.c.AddVilmem(r.c.MyTree(), "G1", "a", 23);
    r.c.AddVilmem(r.c.MyTree(), "G2", "a", 23);
    r.c.AddVilmem(r.c.MyTree(), "G2", "y", 26);
    r.c.AddVilmem(r.c.MyTree(), "G2", "me", 27);
    r.serve(kind::kPresence, code::kOnline, {"a"});
    r.serve(kind::kPresence, code::kOnline, {"a"});  // online already: nothing moves
    r.serve(kind::kPresence, code::kOnline, {"me"});
    EXPECT_EQ(r.list(0), "A:3 B:24");
    EXPECT_EQ(r.tree(), "G1:1{a:3 x:25} G2:1{a:3 y:26 me:27}");
    EXPECT_EQ(r.c.onlineCount, 1);
    EXPECT_EQ(r.services.sounds, std::vector<std::string>{r.session->soundPath("online.wav")});
    r.serve(kind::kPresence, code::kOffline, {"a"});
    EXPECT_EQ(r.list(0), "B:24 A:23");
    EXPECT_EQ(r.tree(), "G1:1{a:23 x:25} G2:1{a:23 y:26 me:27}") << "offline nodes keep their place";
    EXPECT_EQ(r.key("G1", "6Online") + r.key("G2", "7Online") + r.key("A", "Online"), "00");
    r.c.LRemove(r.c.MyList(0), "B");
    r.serve(kind::kPresence, code::kOnline, {"a"});
    EXPECT_EQ(r.list(0), "A:3") << "the only friend";
}

TEST(Contacts, OnlyAShorterRosterEmptiesTheListAndTheOnlineOnesGoOnTopInOrder) {
    Rig r;
    r.offline();
    for (const char* n : {"X", "Y", "Z"}) r.c.MyList(0).AddItem(n, "", 25);
    r.serve(kind::kFriendRoster, 1, {"a", "m2", "A", "b", "m3", "B"});
    EXPECT_EQ(r.list(0), "A:23 B:24");
    r.serve(kind::kFriendRoster, 1, {"a", "m2", "A", "c", "m4", "C"});
    EXPECT_EQ(r.list(0), "A:23 B:24 C:25") << "a roster as long as the list clears nothing";
    EXPECT_EQ(r.c.MyList(0).Selected(), ItemList::kSelectionCleared);
    r.serve(kind::kFriendRoster, 3, {"c", "m4", "a", "m2"});
    EXPECT_EQ(r.list(0), "C:5 A:3 B:24");
    EXPECT_EQ(r.c.onlineCount, 2);
    // A list with rows and no selection selects row 1 when a row is inserted or it is redrawn.
    ItemList& l = r.c.MyList(2);
    std::vector<int> selected;
    for (const char* n : {"s1", "s2"}) {
        l.InSert(1, n, "", 1);
        selected.push_back(l.Selected());
    }
    l.setSelected(ItemList::kNoneSelected);
    l.Redraw();
    selected.push_back(l.Selected());
    EXPECT_EQ(selected, (std::vector{0, 1, 1}));
}

// Who is asked, and where the person ends up, when one list gains someone another list holds.
TEST(Contacts, AddingAFriendOrABlacklistEntryAsksAndCancelDoesNotCancel) {
    struct Row {
        bool toFriends;
        const char* name;
        const char *friends, *blacklist, *strangers;
        BoxAnswer answer;
        const char *friendsAfter, *blacklistAfter, *strangersAfter;
        size_t boxes;
    } rows[] = {
        {true, "X", "", "X:1", "", BoxAnswer::Ok, "X:9", "", "", 1},
        {true, "X", "", "X:1", "", BoxAnswer::Cancel, "X:9", "X:1", "", 1},
        {true, "X", "", "X:1", "X:1", BoxAnswer::Ok, "X:9", "", "X:1", 1},
        {true, "X", "", "", "X:1", BoxAnswer::Ok, "X:9", "", "", 0},
        {true, "me", "", "me:1", "", BoxAnswer::Ok, "", "me:1", "", 0},
        {false, "X", "X:1", "", "", BoxAnswer::Ok, "", "X:9", "", 1},
        {false, "X", "X:1", "", "", BoxAnswer::Cancel, "X:1", "X:9", "", 1},
        {false, "X", "", "", "X:1", BoxAnswer::Ok, "", "X:9", "", 0},
    };
    for (const Row& row : rows) {
        Rig r;
        r.offline();
        const char* lists[] = {row.friends, row.blacklist, row.strangers};
        for (int i = 0; i < 3; ++i)
            if (*lists[i]) r.c.MyList(i).AddItem(row.name, "", 1);
        r.services.answers = {row.answer};
        ItemList& target = r.c.MyList(row.toFriends ? 0 : 1);
        row.toFriends ? r.c.AFriend(target, row.name, 9, 0) : r.c.AHacks(target, row.name, 9, 0);
        EXPECT_EQ(r.list(0) + "|" + r.list(1) + "|" + r.list(2),
                  std::string(row.friendsAfter) + "|" + row.blacklistAfter + "|" + row.strangersAfter);
        ASSERT_EQ(r.services.boxes.size(), row.boxes);
        if (row.boxes) {
            EXPECT_EQ(r.services.boxes[0].text, row.toFriends ? "您确定要黑名单中的：X添加为好友吗？"
                                                              : "您确定要将您的好友：X设置成黑名单吗？");
        }
    }
}

TEST(Contacts, TheCreatorMarkIsTheSamePersonAndAGroupRosterPrunesTheTree) {
    Rig r;
    r.login();
    NodeTree& t = r.c.MyTree();
    r.c.AddVil(t, "G", 1);
    r.c.AddVilmem(t, "G", g("K(庄主)"), 42);
    r.c.AddVilmem(t, "G", "K", 5);
    r.c.AddVilmem(t, "G", "L", 5);
    EXPECT_EQ(r.tree(), "G:1{K(庄主):42 L:5}");
    r.c.saveTofile(Contacts::kSaveGroups);
    EXPECT_EQ(r.key("G", "1HeadId") + r.key("G", "2HeadId") + r.key("G", "Num"), "42252");
    r.serve(kind::kGroupRoster, 1, {"7", "H", "hc"});
    EXPECT_EQ(r.tree(), "H:1{hc:42}");
    EXPECT_EQ(r.key("H", "Bilder") + r.key("Village", "1VlgID"), "hc7");
    r.tick();
    EXPECT_EQ(r.sentKinds(), std::vector{kind::kAfterRosters});
}

// Rosters the server should never send: short counts, empty fields, names the file format
// cannot hold, more rows than one frame of normal names carries. The file stays one that reads
// back line by line.
TEST(Contacts, BadRostersNeitherCrashNorBreakTheFile) {
    Rig r;
    r.offline();
    const std::vector<std::vector<std::string_view>> friendRosters = {
        {"a", "m1", "A", "b", "m2"},
        {"", "", "", "c", "", "C"},
        {"d]", "m1", "[D]", "e=", "w2", "E=1", "f\r\nf", "m1", "F\n[x]", ";g", "w3"},
    };
    for (const auto& roster : friendRosters) {
        Bytes body;
        for (auto f : roster) appendField(body, f);
        r.fromChat({.type = 3, .sub = 4, .code = 1}, body);
        r.tick();
    }
    r.serve(kind::kBlacklistRoster, 1, {"h]", "m9x", "", ""});
    r.serve(kind::kGroupRoster, 1, {"1", "G]=", "x\ny", "2", ""});
    r.serve(kind::kMemberRoster, 1, {"G]="});
    r.serve(kind::kMemberRoster, 1, {"G]=", "m\r\n", "w1", "n=", "m2", "odd"});
    r.serve(kind::kMemberRoster, 3, {"G]=", "n="});
    Bytes many;  // 124 one-character nicks fill a 999-byte body
    for (int i = 0; i < 124; ++i)
        many += joinFields({"a", "m1", Bytes{char(0xB0 + i / 94), char(0xA1 + i % 94)}});
    r.fromChat({.type = 3, .sub = 4, .code = 1}, many);
    r.tick();
    EXPECT_EQ(r.c.MyList(0).count(), 5 + 124) << "a longer roster clears nothing";
    EXPECT_EQ(r.key("好友人数", "Num"), "124");
    const std::string file = readFile(r.userFile());
    ASSERT_TRUE(file.ends_with("\r\n"));
    for (size_t at = 0, end; (end = file.find("\r\n", at)) != std::string::npos; at = end + 2)
        EXPECT_NE(ini::classify(file.substr(at, end - at)).kind, ini::LineKind::kOther)
            << file.substr(at, end - at);
}

TEST(Contacts, TheBlacklistMoveSendsBothFramesInOneDatagram) {
    Rig r;
    r.login();
    r.serve(kind::kFriendRoster, 1, {"a", "m2", "A"});
    r.c.MyList(0).setSelected(1);
    r.c.setToBlacklist();
    r.tick();
    const Bytes d = r.chat.take().data;
    const auto first = decodeFrame(d);
    ASSERT_TRUE(first && first->len < d.size());
    const auto second = decodeFrame(std::string_view(d).substr(first->len));
    ASSERT_TRUE(second && first->len + second->len == d.size());
    EXPECT_EQ(
        std::tuple(Bytes(first->body), Bytes(second->body), second->header.type * 10 + second->header.sub),
        std::tuple(joinFields({"alice", "a"}), joinFields({"alice", "A"}), 61));
}

}  // namespace
}  // namespace nq::test
