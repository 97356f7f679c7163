// Rosters, presence, profiles, friends and the blacklist.

#include <sstream>

#include "chat_fixture.h"
#include "server/admin.h"
#include "server/records.h"

namespace nq::server {
namespace {

struct Shown {
    FrameKind kind;
    uint16_t code;
    std::vector<Bytes> fields;
    friend bool operator==(const Shown&, const Shown&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Shown& s) {
        os << "(" << s.kind.type << "," << s.kind.sub << ") code " << s.code << ":";
        for (const Bytes& f : s.fields) os << " " << gbk::toUtf8(f);
        return os;
    }
};
std::vector<Shown> shown(const std::vector<Got>& frames, size_t from = 0) {
    std::vector<Shown> out;
    for (size_t i = from; i < frames.size(); ++i)
        out.push_back({frames[i].kind(), frames[i].header.code, frames[i].fields()});
    return out;
}

// The rosters, then presence: whoever lists an account or shares a group with it hears it come
// and go, once. The demo group holds alice, bob, carol and erin.
TEST_F(ChatTest, RostersComeInTheOrderTheClientNeedsAndPresenceFollows) {
    store().addToBlacklist("alice", "erin");
    enter(bob, "bob");
    for (const auto& [c, name] : {std::pair{alice, "alice"}, {erin, "erin"}, {dave, "dave"}}) login(c, name);
    const size_t aliceIn = inbox(alice).size(), erinIn = inbox(erin).size();
    for (const Endpoint& c : {alice, erin, dave}) say(c, kind::kFriendRoster);
    advance(2s);
    // Bare triples, no count in front; the client derives the count from the NULs.
    const Shown group{kind::kGroupRoster, code::kRosterList, gs({"1", "周末棋友会", "alice"})};
    EXPECT_EQ(
        shown(inbox(alice), aliceIn),
        (std::vector<Shown>{{kind::kFriendRoster, code::kRosterList,
                             gs({"bob", "m2", "鲍勃", "carol", "w7", "卡罗尔", "dave", "m5", "戴夫"})},
                            {kind::kBlacklistRoster, code::kRosterList, gs({"艾琳", "w1"})},
                            group,
                            {kind::kFriendRoster, code::kRosterOnline, gs({"bob", "m2", "dave", "m5"})}}));
    EXPECT_EQ(shown(inbox(erin), erinIn),
              (std::vector<Shown>{{kind::kFriendRoster, code::kRosterEmpty, {}}, group}));
    EXPECT_EQ(framesOf(dave, kind::kGroupRoster).at(0).header.code, code::kRosterEmpty);  // in no group

    const size_t aliceHad = inbox(alice).size(), bobHad = inbox(bob).size(), erinHad = inbox(erin).size(),
                 daveHad = inbox(dave).size();
    enter(carol, "carol");
    say(carol, kind::kLogout);
    for (const auto& [who, had] : {std::pair{alice, aliceHad}, {bob, bobHad}, {erin, erinHad}})
        EXPECT_EQ(shown(framesOf(who, kind::kPresence, had)),
                  (std::vector<Shown>{{kind::kPresence, code::kOnline, {"carol"}},
                                      {kind::kPresence, code::kOffline, {"carol"}}}));
    EXPECT_EQ(inbox(dave).size(), daveHad);  // dave neither lists carol nor shares a group with her
}

// A member roster for members only: all of them with their heads, then those online, as many
// frames as they take, each naming the group.
TEST_F(ChatTest, MemberRostersGoToMembersInFramesTheClientReads) {
    // The longest names in a group of the longest name take as many frames as any group does.
    const char* longest = "群群群群群群群群群群群群群群群群群群群群群群群群";
    const int64_t big = store().createGroup({0, g(longest), "dave", ""});
    Account a;
    a.head = "w10";
    for (int i = 101; i < 300; ++i) {
        a.name = "member" + std::to_string(i) + std::string(15, 'x');
        a.nick = g("成员") + std::to_string(i);
        store().createAccount(a);
        store().addMember(big, a.name);
    }
    for (const auto& [c, name] : {std::pair{alice, "alice"}, {bob, "bob"}, {dave, "dave"}}) enter(c, name);
    const auto asked = [&](const Endpoint& c, const char* group) {
        const size_t had = inbox(c).size();
        say(c, kind::kMemberRoster, 0, {g(group)});
        return shown(inbox(c), had);
    };
    const Bytes demo = g("周末棋友会");
    EXPECT_EQ(
        asked(bob, "周末棋友会"),
        (std::vector<Shown>{{kind::kMemberRoster,
                             code::kRosterList,
                             {demo, "alice", "w2", "bob", "m2", "carol", "w7", "erin", "w1"}},
                            {kind::kMemberRoster, code::kRosterOnline, {demo, "alice", "w2", "bob", "m2"}}}));
    EXPECT_TRUE(asked(dave, "周末棋友会").empty());
    size_t listed = 0;
    for (const Shown& f : asked(dave, longest)) {
        ASSERT_EQ(f.fields.at(0), g(longest));
        if (f.code == code::kRosterList) listed += f.fields.size() / 2;
    }
    EXPECT_EQ(listed, kMaxGroupMembers);
}

TEST_F(ChatTest, FriendAndBlacklistOperationsAnswerWithTheNameAsked) {
    enter(bob, "bob");
    // erin is offline: accepted, the answer naming her account whatever the request named; the
    // client asks for her profile at once, and is told afterwards that she is not online.
    size_t had = inbox(bob).size();
    say(bob, kind::kAddFriend, 0, {g("艾琳")});
    say(bob, kind::kProfile, code::kProfileAfterAdd, {"erin"});
    advance(2s);
    const auto after = shown(inbox(bob), had);
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[0], (Shown{kind::kAddFriend, code::kDone, {"bob", "erin"}}));
    EXPECT_EQ(after[1].kind, kind::kProfile);
    EXPECT_EQ(after[2], (Shown{kind::kPresence, code::kOffline, {"erin"}}));

    const std::tuple<FrameKind, const char*, uint16_t> cases[] = {
        {kind::kAddFriend, "nobody", code::kFailed},  // unknown
        {kind::kAddFriend, "bob", code::kFailed},     // nobody is his own friend
        {kind::kDeleteFriend, "erin", code::kDone},
        {kind::kDeleteFriend, "ghost", code::kDone},   // still clears the client's stale entry
        {kind::kAddToBlacklist, "艾琳", code::kDone},  // by nick
        {kind::kAddToBlacklist, "ghost", code::kFailed},
        {kind::kAddToBlacklist, "bob", code::kFailed},
        {kind::kRemoveFromBlacklist, "艾琳", code::kDone},
    };
    for (const auto& [k, name, code] : cases) {
        had = inbox(bob).size();
        say(bob, k, 0, {g(name)});
        EXPECT_EQ(shown(inbox(bob), had), (std::vector<Shown>{{k, code, {"bob", g(name)}}})) << name;
    }
    EXPECT_EQ(store().friends("bob").size(), 2u);  // alice and carol
    EXPECT_TRUE(store().blacklist("bob").empty());
}

TEST_F(ChatTest, ABlacklistedSenderIsRefusedUntilAddedBackAsAFriend) {
    enter(alice, "alice");
    enter(bob, "bob");
    // The client's move: (5,2) and (6,1) back to back in one datagram, the entry naming the nick.
    const uint32_t a = session(alice);
    Bytes datagram = encodeFrame({7, kind::kDeleteFriend.type, kind::kDeleteFriend.sub, a, 0},
                                 joinFields({"alice", "bob"}));
    encodeFrame({8, kind::kAddToBlacklist.type, kind::kAddToBlacklist.sub, a, 0},
                joinFields({"alice", g("鲍勃")}), datagram);
    const size_t had = inbox(alice).size();
    raw(alice, datagram);
    EXPECT_EQ(shown(inbox(alice), had),
              (std::vector<Shown>{{kind::kDeleteFriend, code::kDone, {"alice", "bob"}},
                                  {kind::kAddToBlacklist, code::kDone, gs({"alice", "鲍勃"})}}));
    // bob is refused now, whether alice is online or not.
    say(bob, kind::kChat, 0, {"alice", "还在吗"});
    say(alice, kind::kLogout);
    say(bob, kind::kChat, 0, {"alice", "走了吗"});
    EXPECT_TRUE(store().waitingMessages("alice", 0, 10).empty());
    advance(2s);  // the group roster of the next login need not wait for the last one's gap
    enter(alice, "alice");
    advance(2s);
    EXPECT_TRUE(framesOf(alice, kind::kChat).empty());
    // Adding him back as a friend lifts the blacklist.
    say(alice, kind::kAddFriend, 0, {"bob"});
    say(bob, kind::kChat, 0, {"alice", "在"});
    advance(2s);
    EXPECT_EQ(framesOf(alice, kind::kChat).size(), 1u);
}

// Everything the store keeps of an account comes back in its profile, asked by account or by
// the own nick. Nobody of that name gets no answer at all: the client's wait runs out.
TEST_F(ChatTest, ProfileRecordByAccountOrOwnNickAndNoAnswerForNobody) {
    Account a;
    a.name = "zhang";
    a.nick = g("张三");
    a.head = "m4";
    a.level = 3;
    a.coins = 1234567890123;  // beyond 32 bits
    a.signature = g("签名");
    a.age = 33;
    a.sex = 0;
    a.setting = 2;
    // The texts after the sex in the record's order, each of its own.
    Bytes* texts[] = {&a.country,  &a.province,     &a.city,      &a.email,    &a.address,
                      &a.postcode, &a.phone,        &a.mobile,    &a.realName, &a.school,
                      &a.work,     &a.zodiacAnimal, &a.bloodType, &a.starSign};
    for (size_t i = 0; i < std::size(texts); ++i) *texts[i] = g("文字") + std::to_string(i);
    store().createAccount(a);
    // Name, level and its title, coins, nick, head, signature, age, sex; the texts; the setting.
    std::vector<Bytes> record = {"zhang", "3", g("中级会员"), "1234567890123", a.nick, "m4", a.signature};
    record.insert(record.end(), {"33", "0"});
    for (Bytes* t : texts) record.push_back(*t);
    record.insert(record.end(), {"2", "0"});

    enter(alice, "alice");
    for (const auto& [askCode, name] : {std::pair{code::kProfileShow, "zhang"},
                                        {code::kProfileAfterAdd, "zhang"},
                                        {code::kProfileRefreshOwn, "张三"},
                                        {code::kProfileAfterAdd, "张三"}}) {
        const size_t had = inbox(alice).size();
        say(alice, kind::kProfile, askCode, {g(name)});
        EXPECT_EQ(shown(inbox(alice), had), (std::vector<Shown>{{kind::kProfile, code::kDone, record}}))
            << name;
    }
    const size_t had = inbox(alice).size();
    say(alice, kind::kProfile, code::kProfileAfterAdd, {"nobody"});
    EXPECT_EQ(inbox(alice).size(), had);
}

TEST_F(ChatTest, FriendListIsCappedAtOneRosterFrame) {
    // Long names fill the 999-byte roster quickly: 24 + 2 + 24 + 3 bytes a friend.
    std::ostringstream ignored;
    int added = 0;
    std::string refused;
    for (int i = 0; i < 30 && refused.empty(); ++i) {
        const std::string n = std::to_string(10 + i);
        const std::string name = "user" + n + std::string(18, 'x'), nick = "nick" + n + std::string(18, 'y');
        runAdmin(store(), UserAdd{name, "pw", nick, "m1"}, ignored);
        try {
            runAdmin(store(), MakeFriends{"erin", name}, ignored);
            ++added;
        } catch (const UsageError&) {
            refused = name;
        }
    }
    EXPECT_EQ(added, 999 / 53);
    enter(erin, "erin");
    EXPECT_EQ(static_cast<int>(framesOf(erin, kind::kFriendRoster)[0].fields().size()), 3 * added);
    ASSERT_FALSE(refused.empty());
    say(erin, kind::kAddFriend, 0, {refused});
    EXPECT_EQ(inbox(erin).back().header.code, code::kFailed);
}

TEST_F(ChatTest, FramesThatMakeTheClientAnswerAtOnceAreSpacedApart) {
    enter(alice, "alice");
    advance(5s);
    // Each accepted friend makes the client send a profile request from the handler; two of
    // those in one client tick would garble its send ring. Only the request naming the friend
    // proves the acceptance read: one the user asks for meanwhile, with the same code, does not.
    const Duration unproven = config_.pacing.readPeriod() + config_.pacing.triggerGap();
    say(alice, kind::kAddFriend, 0, {"erin"});
    say(alice, kind::kProfile, code::kProfileAfterAdd, {"bob"});
    say(alice, kind::kAddFriend, 0, {"bob"});
    advance(5s);
    say(alice, kind::kAddFriend, 0, {"carol"});
    say(alice, kind::kProfile, code::kProfileAfterAdd, {"carol"});
    say(alice, kind::kAddFriend, 0, {"dave"});
    advance(3s);
    const auto added = framesOf(alice, kind::kAddFriend);
    ASSERT_EQ(added.size(), 4u);
    EXPECT_EQ(added[1].fields()[1], "bob");
    EXPECT_GE(added[1].at - added[0].at, unproven);
    EXPECT_LT(added[3].at - added[2].at, unproven);
}

}  // namespace
}  // namespace nq::server
