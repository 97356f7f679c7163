// Sessions on the chat server and the dispatcher before it: login, repeat logins, keep-alive,
// the end of a session, and frames that must not work.

#include "chat_fixture.h"

namespace nq::server {
namespace {

// The dispatcher orders an update below version 1.2 before it looks at the password, and names
// the chat server to a right one; the chat server answers a right one with a session, the nick
// and the head. A wrong password or account gets a refusal, without a session, from either.
TEST_F(ChatTest, LoginsAreAnsweredByVersionAndPassword) {
    constexpr uint16_t kChatServer = 0;  // the chat server's login has no version
    const std::vector<Bytes> onward = {"127.0.0.9", "8000"};
    const std::tuple<const char*, const char*, uint16_t, uint16_t, std::vector<Bytes>> cases[] = {
        // The client hands the last of the update order's eight fields to its updater.
        {"alice", "wrong", 256 + 1, code::kUpdateOrdered, {"1.2", "258", "1.1", "", "", "", "", "1.2"}},
        {"alice", "123456", 256 + 2, code::kGoToChatServer, onward},
        {"bob", "123456", 2 * 256, code::kGoToChatServer, onward},
        {"alice", "654321", 256 + 2, code::kWrongPassword, {}},
        {"mallory", "123456", 256 + 2, code::kWrongPassword, {}},
        {"bob", "12345", kChatServer, code::kWrongPassword, {}},
        {"nobody", "12345", kChatServer, code::kWrongPassword, {}},
        {"alice", "123456", kChatServer, code::kLoginAccepted, gs({"爱丽丝", "w2"})},
    };
    for (const auto& [name, password, version, code, fields] : cases) {
        const Got r = version == kChatServer ? login(client(2), name, password)
                                             : askDispatcher(client(1), name, password, version);
        EXPECT_EQ(r.header.code, code) << name << " " << version;
        const bool accepted = version == kChatServer && code == code::kLoginAccepted;
        EXPECT_EQ(r.header.session != 0, accepted) << name << " " << version;
        EXPECT_EQ(r.fields(), fields) << name << " " << version;
    }
}

// The dispatcher names the chat server with the fewest sessions among those that reported in
// the last fifteen seconds, counting what it sent each since it last read the reports, a second
// ago at most; a tie goes to the first.
TEST_F(ChatTest, DispatcherSendsEachLoginToTheLeastLoadedChatServer) {
    targets_ = {{"127.0.0.1", 8003}, {"127.0.0.1", 8001}, {"127.0.0.1", 8002}};
    store().reportLoad("127.0.0.1:8003", 0, wall() - 16);
    store().reportLoad("127.0.0.1:8001", 3, wall());
    store().reportLoad("127.0.0.1:8002", 0, wall());
    std::vector<Bytes> ports;
    auto ask = [&] { ports.push_back(askDispatcher(client(1), "erin").fields().at(1)); };
    for (int i = 0; i < 4; ++i) ask();
    now_ += 1s;
    store().reportLoad("127.0.0.1:8001", 4, wall());
    store().reportLoad("127.0.0.1:8002", 3, wall());
    ask();
    EXPECT_EQ(ports, (std::vector<Bytes>{"8002", "8002", "8002", "8001", "8002"}));
}

// alice is online at client 1 and bob, her friend, watches; alice was last heard `quiet` ago
// when a second login comes. Her address is one that somebody else may forge.
TEST_F(ChatTest, ARepeatLoginExpelsReplacesOrEndsTheFirst) {
    constexpr int kNone = -1;
    struct Case {
        const char* what;
        int from;          // the client of the second login, 1 being hers
        const char* name;  // its account
        const char* password;
        Duration quiet;
        int answer;                      // its (1,1) code, or kNone
        bool firstKicked;                // client 1 is told it logged in elsewhere
        bool firstLives;                 // client 1's old session still answers
        std::vector<uint16_t> bobHears;  // presence codes about alice
    };
    const Case cases[] = {
        // alice again from elsewhere: the first is expelled, she stays online
        {"moved", 6, "alice", "123456", 0s, code::kLoginAccepted, true, false, {}},
        // alice again from the same address: a new session, quietly
        {"re-verified", 1, "alice", "123456", 0s, code::kLoginAccepted, false, false, {}},
        // another account from her address while she sends: forged, dropped unanswered
        {"forged", 1, "dave", "123456", 20s, kNone, false, true, {}},
        // a wrong password from her address while she sends: unanswered, or her client would
        // close its socket
        {"forged refusal", 1, "alice", "654321", 0s, kNone, false, true, {}},
        // another account from her address after two keep-alives missed: she has left
        {"left", 1, "dave", "123456", 22s, code::kLoginAccepted, false, false, {code::kOffline}},
        {"another account elsewhere", 6, "dave", "123456", 0s, code::kLoginAccepted, false, true, {}},
    };
    enter(bob, "bob");
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        for (int n : {1, 6}) frame(client(n), kind::kLogout, 0, session(client(n)), joinFields({"alice"}));
        for (int n : {1, 6}) frame(client(n), kind::kLogout, 0, session(client(n)), joinFields({"dave"}));
        const uint32_t old = login(alice, "alice").header.session;
        advance(k.quiet, 1s);
        say(bob, kind::kKeepAlive);
        const size_t bobHad = inbox(bob).size(), aliceHad = inbox(alice).size();

        const auto answer = tryLogin(client(k.from), k.name, k.password);
        EXPECT_EQ(answer ? answer->header.code : kNone, k.answer);
        if (answer) {
            EXPECT_NE(answer->header.session, old);
        }
        auto kicks = framesOf(alice, kind::kLogin, aliceHad);
        if (k.from == 1 && answer) kicks.pop_back();  // the answer to the second login itself
        ASSERT_EQ(kicks.size(), k.firstKicked ? 1u : 0u);
        if (k.firstKicked) {
            EXPECT_EQ(kicks[0].header.code, code::kLoggedInElsewhere);
        }
        const size_t before = inbox(alice).size();
        frame(alice, kind::kKeepAlive, 0, old, joinFields({"alice"}));
        EXPECT_EQ(inbox(alice).size() - before, k.firstLives ? 1u : 0u);
        std::vector<uint16_t> heard;
        for (const Got& p : framesOf(bob, kind::kPresence, bobHad)) heard.push_back(p.header.code);
        EXPECT_EQ(heard, k.bobHears);
    }
}

// Each keep-alive is answered with one frame, and the client's numbering follows the server's
// Seq, which runs 1..5999 and then starts again.
TEST_F(ChatTest, SeqRunsFromOneTo5999AndWraps) {
    config_.pacing.ringBudget = config_.pacing.ringBytes = 1 << 30;  // nothing held back
    config_.pacing.unreadFrames = 1 << 30;
    config_.input.framesPerSecond = 1e6;  // all at one instant
    login(erin, "erin");
    for (int i = 0; i < 6001; ++i) say(erin, kind::kKeepAlive);
    const auto& all = inbox(erin);
    ASSERT_EQ(all.size(), 6002u);
    for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i].header.seq, i % 5999 + 1) << i;
    EXPECT_EQ(all.back().kind(), kind::kKeepAlive);
    EXPECT_EQ(all.back().header.session, session(erin));
}

TEST_F(ChatTest, FramesFromAnotherAddressOrAStaleSessionAreNotActedOn) {
    const Endpoint mallory = client(6);
    enter(alice, "alice");
    enter(bob, "bob");
    const size_t bobHad = inbox(bob).size(), aliceHad = inbox(alice).size();
    const uint32_t a = session(alice);
    for (FrameKind k : {kind::kKeepAlive, kind::kChat, kind::kLogout})  // alice's session elsewhere
        frame(mallory, k, 0, a, joinFields({"alice", "bob", "假的"}));
    EXPECT_TRUE(inbox(mallory).empty());
    // From alice's own address, a session number that is not hers, and her session naming bob.
    frame(alice, kind::kKeepAlive, 0, a ^ 1, joinFields({"alice"}));
    frame(alice, kind::kKeepAlive, 0, a, joinFields({"bob"}));
    EXPECT_EQ(inbox(alice).size(), aliceHad);
    EXPECT_EQ(inbox(bob).size(), bobHad);
    EXPECT_EQ(chat().sessionOf("alice"), a);
    // A session that has ended stays ended.
    say(alice, kind::kLogout);
    frame(alice, kind::kKeepAlive, 0, a, joinFields({"alice"}));
    EXPECT_EQ(inbox(alice).size(), aliceHad);
}

}  // namespace
}  // namespace nq::server
