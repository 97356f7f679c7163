// One-to-one messages: relay, waiting messages, a graceful restart and a crash, pacing of a backlog.

#include "chat_fixture.h"
#include "server/records.h"

namespace nq::server {
namespace {

// The numbers at the front of the texts of the messages a client got, in order.
std::vector<int> numbers(const std::vector<Got>& chats) {
    std::vector<int> out;
    for (const Got& m : chats) out.push_back(std::stoi(m.fields()[2]));
    return out;
}
std::vector<int> upTo(int n) {
    std::vector<int> out(n);
    for (int i = 0; i < n; ++i) out[i] = i;
    return out;
}
Bytes big(int n, size_t dots = 900) {
    return std::to_string(n) + std::string(dots, '.');
}

TEST_F(ChatTest, MessageIsRelayedWholeOrCutAtACharacterBorder) {
    enter(alice, "alice");
    enter(bob, "bob");
    const Bytes text = g("宋体/10/255/2024-5-1 12:30:07/你好 /smile ");
    for (const char* peer : {"bob", "鲍勃"}) {  // by account, and by nick
        say(alice, kind::kChat, 0, {g(peer), text});
        EXPECT_EQ(inbox(bob).back().header.session, session(bob));
        EXPECT_EQ(inbox(bob).back().fields(), (std::vector<Bytes>{"alice", "bob", text})) << peer;
    }
    // 700 two-byte characters after a 1-byte prefix, so that an even cut would split one.
    std::string utf8 = "x";
    for (int i = 0; i < 700; ++i) utf8 += "字";
    say(alice, kind::kChat, 0, {"bob", g(utf8)});
    const Bytes cut = inbox(bob).back().fields().at(2);
    EXPECT_EQ(cut.size() % 2, 1u);  // "x" and whole characters
    EXPECT_GT(cut.size(), 900u);
    EXPECT_EQ(g(utf8).substr(0, cut.size()), cut);
    // A lead byte with nothing behind it would swallow the NUL on the client.
    say(alice, kind::kChat, 0, {"bob", Bytes("ok\xB0", 3)});
    EXPECT_EQ(inbox(bob).back().fields()[2], "ok");
    say(alice, kind::kMemberChat, 0, {"bob", text});  // relayed, or kept, as such: the client files it apart
    EXPECT_EQ(inbox(bob).back().kind(), kind::kMemberChat);
    say(alice, kind::kMemberChat, 0, {"dave", text});
    enter(dave, "dave");
    EXPECT_EQ(framesOf(dave, kind::kMemberChat).size(), 1u);
}

// The demo group: alice, bob, carol, erin. A line reaches the other members online, cut before a
// character straddling the last byte, with a stamp of each one's own, which stands in for his
// session number, in his next session there too; a stamp he was not given does not.
TEST_F(ChatTest, GroupLinesReachTheOtherMembersOnlineAndTheirStampsStandInForTheSession) {
    config_.input.framesPerSecond = 1e6;  // the flood at the end, at one instant
    config_.input.groupLinesPerMinute = 6000;
    for (const auto& [c, name] : {std::pair{alice, "alice"}, {bob, "bob"}, {carol, "carol"}, {dave, "dave"}})
        enter(c, name);
    const Bytes group = g("周末棋友会");
    Bytes line = "xx";
    while (line.size() < 1400) line += g("字");
    say(alice, kind::kGroupChat, 0, {group, line});
    frame(carol, kind::kGroupChat, 0, 1, joinFields({"carol", group, line}));  // with the stamp she read
    say(dave, kind::kGroupChat, 0, {group, line});
    enter(erin, "erin");  // away until now: nothing was kept for her
    std::map<uint16_t, std::vector<std::pair<Bytes, uint32_t>>> heard;  // by port: body, stamp
    for (const Endpoint& e : {alice, bob, carol, dave, erin})
        for (const Got& m : framesOf(e, kind::kGroupChat))
            heard[e.port].emplace_back(m.body, m.header.session);
    const Bytes a = joinFields({"alice", group, line.substr(0, 980)}),
                c = joinFields({"carol", group, line.substr(0, 980)});
    EXPECT_EQ(heard, (decltype(heard){
                         {alice.port, {{c, 1}}}, {bob.port, {{a, 1}, {c, 2}}}, {carol.port, {{a, 1}}}}));
    EXPECT_EQ(framesOf(dave, kind::kNoticeToast).size(), 1u) << "told why nobody heard him";
    auto keptAlive = [&](const Endpoint& from, uint32_t sessionField) {  // answered, with that in Session
        const size_t had = inbox(from).size();
        frame(from, kind::kKeepAlive, 0, sessionField, joinFields({from == bob ? "bob" : "alice"}));
        return !framesOf(from, kind::kKeepAlive, had).empty();
    };
    const std::pair<Endpoint, uint32_t> accepted[] = {{alice, 1}, {bob, 2}, {bob, 1}},
                                        refused[] = {{alice, 2}, {bob, 3}, {alice, 32768}};
    for (bool again : {false, true}) {
        if (again) login(alice, "alice");
        for (const auto& [from, field] : accepted) EXPECT_TRUE(keptAlive(from, field)) << field << again;
        for (const auto& [from, field] : refused) EXPECT_FALSE(keptAlive(from, field)) << field << again;
    }
    for (int i = 0; i < 100; ++i) say(carol, kind::kGroupChat, 0, {group, line});
    EXPECT_EQ(chat().heldFor(bob).frames, 8u) << "past 8 held, his group lines make room for the rest";
}

// Waiting messages follow the rosters once the client asks for them with (2,6), or after sixty of
// its ticks if it never asks. More than one slice from the store all come, a live message does
// not overtake them, and delivered means gone from the store.
TEST_F(ChatTest, WaitingMessagesFollowTheRostersInOrderOnceOnlyOrAfterSixtyTicks) {
    for (int i = 0; i < 150; ++i) store().storeMessage("carol", chatBody("bob", "carol", std::to_string(i)));
    enter(alice, "alice");
    say(alice, kind::kChat, 0, {"dave", "0 在吗"});
    login(carol, "carol");
    login(dave, "dave");
    say(carol, kind::kFriendRoster);
    say(dave, kind::kFriendRoster);
    const Time asked = now_;
    advance(2s);
    EXPECT_TRUE(framesOf(carol, kind::kChat).empty());  // not before the client asks
    say(carol, kind::kAfterRosters);
    say(carol, kind::kAfterRosters);  // a repeat changes nothing
    say(alice, kind::kChat, 0, {"carol", "150"});
    for (int i = 0; i < 4; ++i) advance(10s), say(carol, kind::kKeepAlive);  // 64 frames unread at most
    EXPECT_EQ(numbers(framesOf(carol, kind::kChat)), upTo(151));
    EXPECT_EQ(framesOf(carol, kind::kChat).back().fields()[0], "alice");
    EXPECT_TRUE(store().waitingMessages("carol", 0, 10).empty());
    // dave never asks: after sixty client ticks he gets them all the same.
    advance(30s, 100ms);
    const auto daveGot = framesOf(dave, kind::kChat);
    ASSERT_EQ(daveGot.size(), 1u);
    EXPECT_GE(daveGot[0].at - asked, config_.pacing.tick * 60);
}

// Messages held back for a full ring go back to the store when the session ends, at a graceful
// stop or at a logout; those that came from the store are still there and must not be stored
// twice. The restarted server takes the sessions up with their numbers and their readiness,
// unnoticed by friends, unless it was down longer than a client waits before it gives up.
TEST_F(ChatTest, AGracefulRestartKeepsSessionsAndWhatTheyWereOwed) {
    config_.pacing.ringBudget = 4096;
    for (int i = 0; i < 10; ++i) store().storeMessage("dave", chatBody("bob", "dave", big(i)));
    const uint32_t aliceSession = enter(alice, "alice"), daveSession = enter(dave, "dave");
    for (int i = 10; i < 20; ++i) say(alice, kind::kChat, 0, {"dave", big(i)});
    EXPECT_LT(framesOf(dave, kind::kChat).size(), 10u);  // the rest are held back for dave's ring
    const size_t aliceHad = inbox(alice).size(), daveHad = inbox(dave).size();
    stop();
    now_ += 2s;
    start();
    EXPECT_EQ(chat().sessionOf("alice"), aliceSession);
    EXPECT_EQ(chat().sessionOf("dave"), daveSession);
    advance(2s);
    EXPECT_FALSE(framesOf(dave, kind::kChat, daveHad).empty());
    // Neither heard of the other going or coming.
    EXPECT_TRUE(framesOf(alice, kind::kPresence, aliceHad).empty());
    EXPECT_TRUE(framesOf(dave, kind::kPresence, daveHad).empty());
    for (int i = 20; i < 25; ++i) say(alice, kind::kChat, 0, {"dave", big(i)});
    say(dave, kind::kLogout);
    enter(dave, "dave");
    advance(30s, 100ms);
    EXPECT_EQ(numbers(framesOf(dave, kind::kChat)), upTo(25));

    stop();
    now_ += 151s;
    start();
    EXPECT_EQ(chat().sessionCount(), 0u);
}

// Held back by pacing at a crash: each was stored before it was held, so all come, once each.
// The server back within 100 s takes up the sessions open at the crash, with their numbers and
// their readiness, unnoticed by friends; not one that had ended, and none after longer than a
// client waits before it gives its session up.
TEST_F(ChatTest, ACrashLosesNoMessageHeldBackAndNoOpenSession) {
    config_.pacing.ringBudget = 4096;
    config_.serverId = "127.0.0.1:8000";  // its load reports tell when it was last alive
    config_.input.framesPerSecond = 1e6;  // all at one instant
    const uint32_t aliceSession = enter(alice, "alice");
    enter(dave, "dave");
    enter(carol, "carol");
    say(carol, kind::kLogout);
    for (int i = 0; i < 40; ++i) say(alice, kind::kChat, 0, {"dave", big(i)});  // past 32 held: stored only
    advance(9s);  // a refill from the store while some are still held; a load report too
    ASSERT_LT(framesOf(dave, kind::kChat).size(), 40u);
    EXPECT_EQ(framesOf(dave, kind::kChat).size() + chat().heldFor(dave).frames, 40u) << "one held twice";
    crash();
    now_ += 100s;
    start();
    EXPECT_EQ(chat().sessionOf("alice"), aliceSession);
    EXPECT_FALSE(chat().sessionOf("carol")) << "her session had ended";
    const size_t aliceHad = inbox(alice).size();
    say(dave, kind::kChat, 0, {"alice", g("宋体/10/0/1:00/还在吗")});
    frame(alice, kind::kKeepAlive, 0, 77, joinFields({"alice"}));  // any stamp: those issued are gone
    std::vector<FrameKind> got;
    for (size_t i = aliceHad; i < inbox(alice).size(); ++i) got.push_back(inbox(alice)[i].kind());
    EXPECT_EQ(got, (std::vector<FrameKind>{kind::kChat, kind::kKeepAlive}));
    advance(30s, 100ms);
    EXPECT_EQ(numbers(framesOf(dave, kind::kChat)), upTo(40));

    crash();
    now_ += 151s;
    start();
    EXPECT_EQ(chat().sessionCount(), 0u);
}

// A client that reads its ring as the real one does: a tick takes two frames when a datagram
// came since the last tick, else one; the ring of 65,408 bytes must never fill. Its tick runs at
// 500 ms, or late at 545 ms as a busy client's does, at any phase against the server's clock.
TEST_F(ChatTest, ABacklogNeverOverflowsTheClientsRing) {
    constexpr int kWaiting = 300;
    std::vector<Bytes> kept;
    for (int i = 0; i < kWaiting; ++i) kept.push_back(chatBody("bob", "dave", big(i, 981)));
    for (const auto& [tickMs, phaseMs] : {std::pair{500, 0}, {500, 123}, {500, 499}, {545, 7}, {545, 300}}) {
        SCOPED_TRACE(testing::Message() << tickMs << " ms tick at phase " << phaseMs);
        const Endpoint reader = client(tickMs + phaseMs);  // its login expels the last run's
        for (const Bytes& body : kept) store().storeMessage("dave", body);
        login(reader, "dave");
        say(reader, kind::kFriendRoster);
        size_t seen = 0, read = 0;         // frames that came, and that the client read
        size_t unread = 0, maxUnread = 0;  // bytes in the ring
        bool datagramSinceTick = false;
        Time nextTick = now_ + std::chrono::milliseconds(phaseMs);
        std::vector<int> order;
        for (int ticks = 0; order.size() < kWaiting && ticks < 2000;) {
            advance(10ms);
            auto& got = inbox(reader);
            datagramSinceTick |= seen < got.size();
            for (; seen < got.size(); ++seen) unread += got[seen].body.size() + kHeaderSize;
            maxUnread = std::max(maxUnread, unread);
            ASSERT_LT(unread, 65408u) << "the client's ring overflowed and dropped everything";
            if (now_ < nextTick) continue;
            nextTick += std::chrono::milliseconds(tickMs);
            ++ticks;
            for (int n = datagramSinceTick ? 2 : 1; n > 0 && read < seen; --n) {
                const Got frame = got[read++];
                unread -= frame.body.size() + kHeaderSize;
                if (frame.kind() == kind::kGroupRoster) say(reader, kind::kAfterRosters);  // from the handler
                if (frame.kind() == kind::kChat) order.push_back(std::stoi(frame.fields()[2]));
            }
            datagramSinceTick = false;
            if (ticks % 21 == 0) say(reader, kind::kKeepAlive);
        }
        EXPECT_EQ(order, upTo(kWaiting));
        EXPECT_GT(maxUnread, 40'000u);  // the ring was used, not left idle
    }
}

// alice's tick stops, as under a modal box, while bob writes her a long line a second: her ring
// of 65,408 bytes never overflows, she gets the rest when heard again, and bob hears her leave
// only after 30 minutes of silence.
TEST_F(ChatTest, ASilentClientKeepsItsSessionAndIsSentNoMoreThanItsRingHolds) {
    enter(alice, "alice");
    enter(bob, "bob");
    const size_t aliceHad = inbox(alice).size(), bobHad = inbox(bob).size();
    for (int i = 0; i < 180; ++i, advance(1s))
        say(bob, kind::kKeepAlive), say(bob, kind::kChat, 0, {"alice", big(i)});
    say(alice, kind::kKeepAlive), advance(490ms);  // the box is closed; within a tick she reads 2 at most
    size_t sent = 0;
    for (size_t i = aliceHad; i < inbox(alice).size(); ++i) sent += kHeaderSize + inbox(alice)[i].body.size();
    EXPECT_LE(sent, 65408u);
    for (int i = 0; i < 18; ++i) advance(10s, 1s), say(alice, kind::kKeepAlive), say(bob, kind::kKeepAlive);
    EXPECT_EQ(numbers(framesOf(alice, kind::kChat, aliceHad)), upTo(180));
    const Time lastHeard = now_;
    while (chat().sessionOf("alice") && now_ - lastHeard < 31min)
        advance(10s, 1s), say(bob, kind::kKeepAlive);
    const Got gone = framesOf(bob, kind::kPresence, bobHad).at(0);
    EXPECT_EQ(gone.header.code, code::kOffline);
    EXPECT_GT(gone.at - lastHeard, 30min);
}

// Files never travel: whatever the direct-link request, the peer is absent.
TEST_F(ChatTest, EveryDirectLinkRequestHearsThePeerIsAbsent) {
    enter(alice, "alice");
    for (uint16_t sub : {1, 2, 9}) {
        say(alice, {family::kDirectLink, sub}, 0, {"alice", g("与鲍勃聊天中")});
        EXPECT_EQ(inbox(alice).back().kind(), (FrameKind{family::kDirectLink, sub}));
        EXPECT_EQ(inbox(alice).back().header.code, code::kPeerAbsent);
    }
}

// The hall's list: each name once per friend the client has, in one datagram; the repeats are
// passed over, so names past the per-datagram limit still count. Equal chat lines are two lines.
TEST_F(ChatTest, RepeatedAddRequestsOfOneDatagramCountOnce) {
    enter(alice, "alice");
    enter(bob, "bob");
    Bytes datagram;
    const auto add = [&](FrameKind k, std::initializer_list<std::string_view> fields) {
        encodeFrame({.seq = static_cast<uint16_t>(datagram.size()),
                     .type = k.type,
                     .sub = k.sub,
                     .session = session(alice)},
                    joinFields(fields), datagram);
    };
    for (int i = 0; i < 17; ++i) add(kind::kAddFriend, {"alice", "erin"});
    add(kind::kAddFriend, {"alice", "x"});
    add(kind::kChat, {"alice", "bob", "ok"});
    add(kind::kChat, {"alice", "bob", "ok"});
    raw(alice, datagram);
    advance(3s);
    EXPECT_EQ(codesOf(framesOf(alice, kind::kAddFriend)),
              (std::vector<uint16_t>{code::kDone, code::kFailed}));
    EXPECT_EQ(framesOf(bob, kind::kChat).size(), 2u);
}

}  // namespace
}  // namespace nq::server
