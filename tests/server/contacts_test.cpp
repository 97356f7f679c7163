// Rosters, presence, friend and blacklist operations, profiles.
// Loopback addresses 127.0.0.30 to 127.0.0.39.

#include "server_fixture.h"
#include "wire/fields.h"

namespace nq::test {
namespace {

std::vector<Bytes> fieldsOf(std::initializer_list<std::string_view> utf8) {
    std::vector<Bytes> out;
    for (auto f : utf8) out.push_back(g(f));
    return out;
}

TEST_F(ServerTest, LoginSequenceComesInTheOrderTheClientNeeds) {
    auto& s = launch("127.0.0.30");
    {
        // alice refuses erin, so that a blacklist roster exists.
        auto alice = client();
        alice->enter(s.chat(), "alice");
        alice->send(6, 1, 0, {"erin"});
        ASSERT_EQ(alice->waitFor(6, 1).header.code, 1);
        alice->send(1, 5, 0, {});
    }
    auto bob = client();
    bob->enter(s.chat(), "bob");

    auto alice = client();
    const auto frames = alice->enter(s.chat(), "alice");
    std::vector<std::string> kinds;
    for (const Received& r : frames) kinds.push_back(r.kind());
    EXPECT_EQ(kinds,
              (std::vector<std::string>{"(3,4) code 1", "(3,6) code 1", "(3,5) code 2", "(3,4) code 3"}));
    ASSERT_EQ(frames.size(), 4u);
    // Bare triples, no count in front; the client derives the count from the NULs.
    EXPECT_EQ(frames[0].fields,
              fieldsOf({"bob", "m2", "鲍勃", "carol", "w7", "卡罗尔", "dave", "m5", "戴夫"}));
    EXPECT_EQ(frames[1].fields, fieldsOf({"艾琳", "w1"}));
    EXPECT_TRUE(frames[2].body.empty());
    EXPECT_EQ(frames[3].fields, fieldsOf({"bob", "m2"}));

    auto erin = client();
    const auto lonely = erin->enter(s.chat(), "erin");
    kinds.clear();
    for (const Received& r : lonely) kinds.push_back(r.kind());
    EXPECT_EQ(kinds, (std::vector<std::string>{"(3,4) code 2", "(3,5) code 2"}));
    erin->expectSilence(150ms, std::pair{3, 4});
}

TEST_F(ServerTest, PresenceReachesOnlineUsersWhoListTheAccount) {
    auto& s = launch("127.0.0.31");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto bob = client();
    bob->enter(s.chat(), "bob");
    auto erin = client();
    erin->enter(s.chat(), "erin");
    // bob's arrival reached alice, who lists him.
    Received r = alice->waitFor(1, 4);
    EXPECT_EQ(r.header.code, 1);
    EXPECT_EQ(r.fields, std::vector<Bytes>{"bob"});

    auto carol = client();
    carol->enter(s.chat(), "carol");
    for (auto* c : {alice.get(), bob.get()}) {
        r = c->waitFor(1, 4);
        EXPECT_EQ(r.header.code, 1);
        EXPECT_EQ(r.fields, std::vector<Bytes>{"carol"});  // exactly one field
    }
    carol->send(1, 5, 0, {});
    for (auto* c : {alice.get(), bob.get()}) {
        r = c->waitFor(1, 4);
        EXPECT_EQ(r.header.code, 2);
        EXPECT_EQ(r.fields, std::vector<Bytes>{"carol"});
    }
    // erin lists nobody and hears nothing.
    erin->expectSilence(150ms, std::pair{1, 4});
}

TEST_F(ServerTest, FriendOperationsAnswerWithTheAccountInTheSecondField) {
    auto& s = launch("127.0.0.32");
    auto bob = client();
    bob->enter(s.chat(), "bob");

    // Adding erin, who is offline: accepted; the client asks for her profile at once, and is told
    // afterwards that she is not online.
    bob->send(5, 1, 0, {"erin"});
    Received r = bob->expect(5, 1);
    EXPECT_EQ(r.header.code, 1);
    EXPECT_EQ(r.fields, (std::vector<Bytes>{"bob", "erin"}));
    bob->send(3, 1, 3, {"erin"});
    r = bob->expect(3, 1);
    ASSERT_EQ(r.fields.size(), 25u);
    EXPECT_EQ(r.fields[0], "erin");
    r = bob->expect(1, 4);
    EXPECT_EQ(r.header.code, 2);
    EXPECT_EQ(r.fields, std::vector<Bytes>{"erin"});

    struct Case {
        const char* what;
        uint16_t type, sub;
        std::string name;  // UTF-8
        uint16_t code;
    };
    const Case cases[] = {
        {"an unknown account cannot be added", 5, 1, "nobody", 2},
        {"nobody is his own friend", 5, 1, "bob", 2},
        {"a friend is deleted", 5, 2, "erin", 1},
        {"deleting a name the server does not know still clears the client's entry", 5, 2, "ghost", 1},
        {"a blacklist entry may name a nick", 6, 1, "艾琳", 1},
        {"an unknown name cannot be blacklisted", 6, 1, "ghost", 2},
        {"nobody blacklists himself", 6, 1, "bob", 2},
        {"removal from the blacklist echoes the name", 6, 2, "艾琳", 1},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        bob->send(k.type, k.sub, 0, {g(k.name)});
        r = bob->expect(k.type, k.sub);
        EXPECT_EQ(r.header.code, k.code);
        EXPECT_EQ(r.fields, (std::vector<Bytes>{"bob", g(k.name)}));
    }
    // What stands now: alice and carol as friends, no blacklist.
    bob->send(1, 5, 0, {});
    auto again = client();
    const auto frames = again->enter(s.chat(), "bob");
    ASSERT_GE(frames.size(), 2u);
    EXPECT_EQ(frames[0].fields, fieldsOf({"alice", "w3", "爱丽丝", "carol", "w7", "卡罗尔"}));
    EXPECT_EQ(frames[1].kind(), "(3,5) code 2");
}

TEST_F(ServerTest, MovingAFriendToTheBlacklistInOneDatagram) {
    auto& s = launch("127.0.0.33");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    // The client's move to the blacklist: (5,2) and (6,1) back to back in one datagram, the
    // blacklist entry naming the nick.
    Bytes datagram = encodeFrame({7, 5, 2, alice->session(), 0}, gbkFields({"alice", "bob"}));
    encodeFrame({8, 6, 1, alice->session(), 0}, gbkFields({"alice", "鲍勃"}), datagram);
    alice->sendRaw(s.chat(), datagram);
    Received r = alice->expect(5, 2);
    EXPECT_EQ(r.header.code, 1);
    r = alice->expect(6, 1);
    EXPECT_EQ(r.header.code, 1);
    EXPECT_EQ(r.fields, fieldsOf({"alice", "鲍勃"}));

    alice->send(1, 5, 0, {});
    auto again = client();
    const auto frames = again->enter(s.chat(), "alice");
    ASSERT_GE(frames.size(), 3u);
    EXPECT_EQ(frames[0].fields, fieldsOf({"carol", "w7", "卡罗尔", "dave", "m5", "戴夫"}));
    EXPECT_EQ(frames[1].kind(), "(3,6) code 1");
    EXPECT_EQ(frames[1].fields, fieldsOf({"鲍勃", "m2"}));

    // bob is refused now: his messages to alice are dropped.
    auto bob = client();
    bob->enter(s.chat(), "bob");
    bob->send(2, 1, 0, {"alice", g("宋体/10/0/12:00:00/还在吗")});
    again->expectSilence(200ms, std::pair{2, 1});
    // Adding him back as a friend lifts the blacklist.
    again->send(5, 1, 0, {"bob"});
    EXPECT_EQ(again->waitFor(5, 1).header.code, 1);
    bob->send(2, 1, 0, {"alice", g("宋体/10/0/12:00:01/在")});
    EXPECT_EQ(again->waitFor(2, 1).fields[0], "bob");
}

TEST_F(ServerTest, ProfileRecordHasTwentyFiveFields) {
    auto& s = launch("127.0.0.34");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    const std::vector<Bytes> carol = fieldsOf(
        {"carol", "2", "初级会员", "300", "卡罗尔", "w7", "", "22", "0", "中华人民共和国", "广东", "广州", "",
         "",      "",  "",         "",    "",       "",   "", "",   "",  "天秤座",         "0",    "0"});
    struct Case {
        const char* what;
        uint16_t code;
        std::string name;
    };
    const Case cases[] = {
        {"code 1 names an account", 1, "carol"},      {"code 3 names an account", 3, "carol"},
        {"code 4 names a nick", 4, "卡罗尔"},         {"code 4 falls back to an account", 4, "carol"},
        {"code 3 falls back to a nick", 3, "卡罗尔"},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        alice->send(3, 1, k.code, {g(k.name)});
        const Received r = alice->expect(3, 1);
        EXPECT_EQ(r.header.code, 1);
        EXPECT_EQ(r.fields, carol);
    }
    // Nobody of that name: no answer at all, the client's wait runs out.
    alice->send(3, 1, 3, {"nobody"});
    alice->expectSilence(200ms);
}

TEST_F(ServerTest, FriendListIsCappedAtOneRosterFrame) {
    auto& s = launch("127.0.0.35");
    // Long names fill the 999-byte roster quickly: 24 + 2 + 24 + 3 bytes a friend.
    int added = 0;
    std::string refused;
    for (int i = 0; i < 30 && refused.empty(); ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "user%02dxxxxxxxxxxxxxxxxxx", i);
        char nick[32];
        std::snprintf(nick, sizeof nick, "nick%02dyyyyyyyyyyyyyyyyyy", i);
        ASSERT_EQ(s.admin({"user", "add", name, "pw", "--nick", nick, "--head", "m1"}).status, 0);
        const AdminResult r = s.admin({"friend", "erin", name});
        if (r.status == 0) {
            ++added;
            continue;
        }
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find("full"), std::string::npos) << r.err;
        refused = name;
    }
    EXPECT_EQ(added, 999 / 53);

    auto erin = client();
    const auto frames = erin->enter(s.chat(), "erin");  // the client helper fails on frames over 1021 bytes
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(static_cast<int>(frames[0].fields.size()), 3 * added);

    // The one that did not fit is refused over the wire too.
    ASSERT_FALSE(refused.empty());
    erin->send(5, 1, 0, {refused});
    EXPECT_EQ(erin->waitFor(5, 1).header.code, 2);
}

TEST_F(ServerTest, FramesThatMakeTheClientAnswerAtOnceAreSpacedApart) {
    auto& s = launch("127.0.0.36");
    auto alice = client();
    alice->enter(s.chat(), "alice");
    // Two accepted friends in one go: each reply makes the client send a profile request from
    // the handler, and two of those in one client tick would garble its send ring.
    Bytes datagram = encodeFrame({20, 5, 1, alice->session(), 0}, gbkFields({"alice", "erin"}));
    encodeFrame({21, 5, 1, alice->session(), 0}, gbkFields({"alice", "bob"}), datagram);
    alice->sendRaw(s.chat(), datagram);
    const Received first = alice->waitFor(5, 1);
    const Received second = alice->waitFor(5, 1);
    EXPECT_EQ(first.fields[1], "erin");
    EXPECT_EQ(second.fields[1], "bob");
    const double gap = std::chrono::duration<double, std::milli>(second.at - first.at).count();
    EXPECT_GE(gap, 2 * ServerProcess::kPaceTickMs);
}

}  // namespace
}  // namespace nq::test
