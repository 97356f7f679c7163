// What one peer may cost the server: frames held for it, log lines, waiting messages, answers to
// an address; and that another's flood leaves a well-behaved session its keep-alive answers.

#include <algorithm>

#include "chat_fixture.h"
#include "server/records.h"
#include "server/udp_socket.h"
#include "wire/digest.h"

namespace nq::server {
namespace {

size_t linesOf(std::string_view text) {
    return std::count(text.begin(), text.end(), '\n');
}

// erin floods from client(1), or a stranger from client(3), ten frames a datagram every 10 ms
// for a minute; bob keeps alive every 10.5 s and each keep-alive is answered within a second.
// What is held for either stays within the caps, at most 64 short frames stand unread in bob's
// ring, bad logins leave no pacing state, at most 60 messages plus the minute's rate wait for
// dave, and the log gets at most 60 lines a topic a minute, plus one that counts the rest.
TEST_F(ChatTest, AFloodStaysWithinItsBoundsAndLeavesOthersTheirAnswers) {
    const Endpoint erin = client(1), bob = client(2);
    const struct {
        const char* flood;
        FrameKind kind;
        bool session;
        std::vector<Bytes> fields;
    } floods[] = {
        {"keep-alives", kind::kKeepAlive, true, {"erin"}},
        {"profile requests", kind::kProfile, true, {"erin", "alice"}},
        {"messages to bob", kind::kChat, true, {"erin", "bob", "hi"}},
        {"messages to dave, offline", kind::kChat, true, {"erin", "dave", "hi"}},
        {"lines to their group", kind::kGroupChat, true, {"erin", g("周末棋友会"), "hi"}},
        {"frames of no session", kind::kKeepAlive, false, {"erin"}},
        {"bad logins", kind::kLogin, false, {"nobody", Bytes(32, 'f')}},  // last: the address waits
    };
    for (const auto& f : floods) {
        SCOPED_TRACE(f.flood);
        enter(erin, "erin");
        enter(bob, "bob");
        const size_t logFrom = logText().size();
        Bytes body, datagram;
        for (const Bytes& field : f.fields) appendField(body, field);
        for (int i = 0; i < 10; ++i)
            datagram += encodeFrame({1, f.kind.type, f.kind.sub, f.session ? session(erin) : 0, 3}, body);
        int asked = 0, answered = 0, had = 0;
        for (int step = 0; step < 6300; ++step) {
            if (step % 1050 == 0) {
                had = static_cast<int>(inbox(bob).size());
                say(bob, kind::kKeepAlive);
                ++asked;
            }
            if (step % 1050 == 100) answered += !framesOf(bob, kind::kKeepAlive, had).empty();
            raw(f.session ? erin : client(3), datagram);
            advance(10ms);
            if (step % 1000 == 0) say(erin, kind::kKeepAlive);
        }
        EXPECT_EQ(answered, asked);
        for (const Endpoint& e : {erin, bob}) {
            EXPECT_LE(chat().heldFor(e).frames, config_.pacing.heldFrames) << e.port;
            EXPECT_LE(chat().heldFor(e).bytes, config_.pacing.heldBytes) << e.port;
        }
        EXPECT_LE(chat().unreadEstimate(bob, now_), 64 * 60u);
        EXPECT_LE(chat().pacedCount(), 2u);
        EXPECT_LE(store().countWaiting("dave", 1000), 60 + 63);
        EXPECT_LE(linesOf(std::string_view(logText()).substr(logFrom)), 2 * kLogTopics * 61 + 10);
        now_ += 2min;  // a fresh minute of log lines, every bucket full again
    }
    EXPECT_LE(framesOf(bob, kind::kGroupChat).size(), 10u + 32u);  // erin's group rate: 10, then 1 each 2 s
}

// A name from the wire is logged with its control characters and backslashes escaped, by the
// chat server and the dispatcher alike: no forged line, no escape sequence reaches a terminal.
TEST_F(ChatTest, NamesWithControlCharactersAreEscapedInTheLog) {
    const struct {
        const char* name;
        const char* logged;
    } cases[] = {
        {"bob\n10:00:00.000 info session 1: root logged in", "bob\\x0a10:00:00.000 info"},
        {"\x1b[2J\x1b]0;owned\x07", "\\x1b[2J\\x1b]0;owned\\x07"},
        {"a\\x0a\r\x7f", "a\\x5cx0a\\x0d\\x7f"},
    };
    for (int i = 0; const auto& c : cases) {
        const size_t from = logText().size();
        tryLogin(client(++i), c.name, "wrong");
        tryDispatcher(client(++i), c.name, "wrong");
        const std::string said = logText().substr(from);
        EXPECT_EQ(linesOf(said), 2u) << said;
        EXPECT_NE(said.find(c.logged), said.rfind(c.logged)) << said;  // twice
        EXPECT_EQ(said.find_first_of("\x1b\x07\r\x7f"), std::string::npos) << said;
    }
}

// Messages left waiting: so many a minute from one sender, so many for one receiver, kept so
// long. The sender hears of a refusal by a toast, once a minute at most.
TEST_F(ChatTest, WaitingMessagesAreLimitedBySenderReceiverAndAge) {
    config_.waiting = {5, 8, 2min};
    const Endpoint alice = client(1), bob = client(2);
    enter(alice, "alice");
    enter(bob, "bob");
    const struct {
        const Endpoint* from;
        int sent;
        Duration after;
        int waiting;
        size_t toasts;
    } steps[] = {
        {&alice, 9, 0s, 5, 1},    // five a minute
        {&alice, 9, 30s, 7, 1},   // two more by half a minute; a toast a minute at most
        {&bob, 9, 70s, 8, 2},     // dave holds eight at most, whoever sends
        {&alice, 0, 100s, 0, 2},  // all past two minutes: gone
    };
    for (int i = 0; const auto& s : steps) {
        now_ += s.after;
        say(alice, kind::kKeepAlive);
        say(bob, kind::kKeepAlive);
        advance(1s);
        for (int n = 0; n < s.sent; ++n) say(*s.from, kind::kChat, 0, {"dave", "x"});
        EXPECT_EQ(store().countWaiting("dave", 100), s.waiting) << "step " << i;
        EXPECT_EQ(framesOf(alice, kind::kNoticeToast).size() + framesOf(bob, kind::kNoticeToast).size(),
                  s.toasts)
            << "step " << i++;
    }
}

// A datagram of logins gets one answer, from the chat server and the dispatcher alike, and one
// address gets twice the reply rate at once at most, then the rate.
TEST_F(ChatTest, AnswersToAnAddressAreOneADatagramAndRateLimited) {
    config_.login.addressFailures = 1000;
    config_.input.repliesPerSecond = 5;
    config_.input.framesPerDatagram = 4;  // the frame rate, not the refusal rate, ends a longer datagram
    Bytes logins;
    for (int i = 0; i < 120; ++i)
        logins += encodeFrame({1, kind::kLogin.type, kind::kLogin.sub, 0, 0},
                              joinFields({"nobody", *passwordDigest("x")}));
    for (const bool toDispatcher : {false, true}) {
        auto answersTo = [&](int datagrams) {
            size_t n = 0;
            for (int i = 0; i < datagrams; ++i) {
                toDispatcher ? rawToDispatcher(client(i), logins) : raw(client(i), logins);
                n += std::exchange(inbox(client(i)), {}).size();
            }
            return n;
        };
        EXPECT_EQ(answersTo(1), 1u) << toDispatcher;
        EXPECT_EQ(answersTo(100), 9u) << toDispatcher;
        now_ += 1s;
        EXPECT_EQ(answersTo(100), 5u) << toDispatcher;
        now_ += 10s;
    }
}

// What waits for room in a socket's send buffer: past 3 datagrams or 10 bytes, the oldest go.
TEST(SendQueue, DropsTheOldestPastItsCapInDatagramsOrBytes) {
    SendQueue q(3, 10);
    std::vector<size_t> dropped;
    for (const char* d : {"aaaa", "bb", "cc", "d", "eeeeeeee", "ff"}) dropped.push_back(q.push({{}, d}));
    EXPECT_EQ(dropped, (std::vector<size_t>{0, 0, 0, 1, 2, 1}));
    q.popFront(1);
    EXPECT_EQ(std::tuple(q.size(), q.bytes(), q[0].data), std::tuple(1u, 2u, "ff"));
}

}  // namespace
}  // namespace nq::server
