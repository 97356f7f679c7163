// Sessions on the chat server and the dispatcher before it: login, repeat logins, keep-alive,
// the end of a session, and frames that must not work. And what keeps a session or a password
// from being guessed: session numbers from the kernel, password checks held back after failures,
// and seals that cost a guess dearly.

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <deque>

#include "chat_fixture.h"
#include "server/credentials.h"
#include "wire/digest.h"

namespace {
// Words that the next four-byte getrandom calls return; empty, the kernel answers.
std::deque<uint32_t> scriptedRandom;
}  // namespace

// Stands in for the C library's getrandom in this test program, so that a test can see what the
// server draws from the kernel. Everything else still gets the kernel's bytes.
extern "C" ssize_t getrandom(void* buffer, size_t length, unsigned int flags) {
    if (length == sizeof(uint32_t) && !scriptedRandom.empty()) {
        std::memcpy(buffer, &scriptedRandom.front(), length);
        scriptedRandom.pop_front();
        return static_cast<ssize_t>(length);
    }
    return syscall(SYS_getrandom, buffer, length, flags);
}

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
// the last fifteen seconds, counting what it sent each until a report written two seconds after
// the send, which holds it for sure; a tie goes to the first.
TEST_F(ChatTest, DispatcherSendsEachLoginToTheLeastLoadedChatServer) {
    targets_ = {{"127.0.0.1", 8003}, {"127.0.0.1", 8001}, {"127.0.0.1", 8002}};
    store().reportLoad("127.0.0.1:8003", 0, wall() - 16);
    store().reportLoad("127.0.0.1:8001", 3, wall());
    store().reportLoad("127.0.0.1:8002", 0, wall());
    std::vector<Bytes> ports;
    auto ask = [&] { ports.push_back(askDispatcher(client(1), "erin").fields().at(1)); };
    for (int i = 0; i < 4; ++i) ask();
    now_ += 1s;  // read again before the servers report what it sent
    ask();
    ask();
    now_ += 2s;
    store().reportLoad("127.0.0.1:8001", 5, wall());
    store().reportLoad("127.0.0.1:8002", 4, wall());
    ask();
    EXPECT_EQ(ports, (std::vector<Bytes>{"8002", "8002", "8002", "8001", "8002", "8001", "8002"}));
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
        for (int n : {1, 6})
            for (const char* who : {"alice", "dave"})
                frame(client(n), kind::kLogout, 0, session(client(n)), joinFields({who}));
        const uint32_t old = login(alice, "alice").header.session;
        advance(k.quiet, 1s);
        say(bob, kind::kKeepAlive);
        const size_t bobHad = inbox(bob).size(), aliceHad = inbox(alice).size();

        const auto answer = tryLogin(client(k.from), k.name, k.password);
        EXPECT_EQ(answer ? answer->header.code : kNone, k.answer);
        EXPECT_TRUE(!answer || answer->header.session != old) << "a new session number";
        auto kicks = codesOf(framesOf(alice, kind::kLogin, aliceHad));
        if (k.from == 1 && answer) kicks.pop_back();  // the answer to the second login itself
        EXPECT_EQ(kicks,
                  k.firstKicked ? std::vector<uint16_t>{code::kLoggedInElsewhere} : std::vector<uint16_t>{});
        const size_t before = inbox(alice).size();
        frame(alice, kind::kKeepAlive, 0, old, joinFields({"alice"}));
        EXPECT_EQ(inbox(alice).size() - before, k.firstLives ? 1u : 0u);
        EXPECT_EQ(codesOf(framesOf(bob, kind::kPresence, bobHad)), k.bobHears);
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

// Each login's session number is what the kernel gave, less the top bit; zero and a number in
// use are drawn again.
TEST_F(ChatTest, SessionNumbersComeFromTheKernel) {
    const struct {
        const char* name;
        std::vector<uint32_t> drawn;
        uint32_t session;
    } cases[] = {
        {"alice", {0x12345678}, 0x12345678},
        {"bob", {0x80000000, 0x80000007}, 7},  // zero once the top bit is gone
        {"carol", {0x12345678, 9}, 9},         // alice's
        {"dave", {0xFFFFFFFF}, 0x7FFFFFFF},
    };
    for (int i = 0; const auto& c : cases) {
        scriptedRandom.assign(c.drawn.begin(), c.drawn.end());
        EXPECT_EQ(login(client(++i), c.name).header.session, c.session) << c.name;
        EXPECT_TRUE(scriptedRandom.empty()) << c.name;
    }
    scriptedRandom.clear();
}

Endpoint at(uint32_t lowByte, uint16_t port) {
    return {0x0A000000 | lowByte, port};
}

// Failed logins from one address, then at one account from many: a login that must wait is not
// checked (the right password gets no answer either) until its wait has passed, and silence
// is all it gets. The account's owner, at an address she logged in from before, does not wait.
// And an account's password is checked only so often a minute, successes included.
TEST_F(ChatTest, FailedLoginsMakeTheAddressOrTheAccountWait) {
    config_.login.addressFailures = 3;
    config_.login.accountFailures = 4;
    config_.login.backoff = 1s;
    config_.login.backoffMax = 4s;
    config_.login.accountChecksPerMinute = 8;
    constexpr int kSilence = -1;
    const Endpoint guesser = at(1, 7101), home = at(2, 7102), fresh = at(9, 7109), toDispatcher = at(3, 7103),
                   elsewhere = at(4, 7104), guesserAgain = at(1, 7105);
    struct Step {
        Duration after;
        bool dispatcher;
        Endpoint from;
        const char* name;
        const char* password;
        int answer;
    };
    const Step steps[] = {
        {0s, false, home, "carol", "123456", code::kLoginAccepted},  // where carol logs in
        {0s, false, guesser, "erin", "1", code::kWrongPassword},
        {0s, false, guesser, "nobody", "2", code::kWrongPassword},
        {0s, false, guesser, "erin", "3", code::kWrongPassword},  // the third: one second's wait
        {0s, false, guesser, "erin", "123456", kSilence},
        {900ms, false, guesser, "erin", "123456", kSilence},
        {100ms, false, guesser, "erin", "4", code::kWrongPassword},  // the fourth: two seconds
        {1900ms, false, guesser, "erin", "123456", kSilence},
        {100ms, false, guesser, "erin", "123456", code::kLoginAccepted},
        // A login that succeeds from the guesser's address buys it nothing: its fifth failure,
        // from any port, means four seconds.
        {0s, false, guesserAgain, "bob", "9", code::kWrongPassword},
        {3900ms, false, guesserAgain, "bob", "123456", kSilence},
        // carol from four addresses, once each: now her account waits a second...
        {0s, false, at(11, 7111), "carol", "5", code::kWrongPassword},
        {0s, false, at(12, 7112), "carol", "6", code::kWrongPassword},
        {0s, false, at(13, 7113), "carol", "7", code::kWrongPassword},
        {0s, false, at(14, 7114), "carol", "8", code::kWrongPassword},
        {0s, false, fresh, "carol", "123456", kSilence},
        // ...but not for her, and her login wipes out the failures.
        {0s, false, home, "carol", "123456", code::kLoginAccepted},
        {0s, false, fresh, "carol", "123456", code::kLoginAccepted},
        // The dispatcher, which checks passwords too, holds back alike.
        {0s, true, toDispatcher, "bob", "1", code::kWrongPassword},
        {0s, true, toDispatcher, "bob", "2", code::kWrongPassword},
        {0s, true, toDispatcher, "bob", "3", code::kWrongPassword},
        {0s, true, toDispatcher, "bob", "123456", kSilence},
        {1s, true, toDispatcher, "bob", "123456", code::kGoToChatServer},
        // Eight checks of bob a minute, whatever their outcome.
        {0s, true, elsewhere, "bob", "123456", code::kGoToChatServer},
        {0s, true, elsewhere, "bob", "123456", code::kGoToChatServer},
        {0s, true, elsewhere, "bob", "123456", code::kGoToChatServer},
        {0s, true, elsewhere, "bob", "123456", code::kGoToChatServer},
        {0s, true, elsewhere, "bob", "123456", kSilence},
        {60s, true, elsewhere, "bob", "123456", code::kGoToChatServer},
    };
    for (int i = 0; const Step& s : steps) {
        now_ += s.after;
        const auto answer =
            s.dispatcher ? tryDispatcher(s.from, s.name, s.password) : tryLogin(s.from, s.name, s.password);
        EXPECT_EQ(answer ? answer->header.code : kSilence, s.answer) << "step " << i << " " << s.name;
        ++i;
    }
}

// The waits after the allowed failures double up to the longest, and are forgotten after twice
// the longest without a failure. Addresses are followed up to a bound; the one longest unheard
// of goes first.
TEST(LoginThrottle, WaitsDoubleUpToTheLongestAndAreForgotten) {
    LoginLimits limits;
    limits.addressFailures = 2;
    limits.backoff = 1s;
    limits.backoffMax = 4s;
    LoginThrottle throttle(limits);
    Time now = Time{} + 1h;
    const struct {
        Duration after;
        Duration wait;
    } failures[] = {{0s, 0s}, {0s, 1s}, {1s, 2s}, {2s, 4s}, {4s, 4s}, {12s, 0s}, {0s, 1s}};
    for (int i = 0; const auto& f : failures) {
        now += f.after;
        EXPECT_TRUE(throttle.addressMayTry(1, now)) << i;
        EXPECT_EQ(throttle.failed(1, nullptr, now).address, f.wait) << i;
        EXPECT_EQ(throttle.addressMayTry(1, now + f.wait - 1ms), f.wait == 0s) << i;
        ++i;
    }
    for (uint32_t a = 2; a < 2 + LoginThrottle::kMaxAddresses; ++a) throttle.failed(a, nullptr, now);
    EXPECT_TRUE(throttle.addressMayTry(1, now));
    // The longest waits the command line allows, doubled forty times, stay a day.
    limits.backoff = limits.backoffMax = 24h;
    LoginThrottle daily(limits);
    for (int i = 1; i <= 40; ++i)
        EXPECT_EQ(daily.failed(1, nullptr, now).address, i < limits.addressFailures ? Duration{} : 24h) << i;
}

// Seals of earlier databases still log in, and the first login that proves the digest reseals
// it; a refused one does not. What the admin commands write is sealed at today's cost.
TEST_F(ChatTest, AnOldSealIsResealedAtTheNextLogin) {
    const std::string digest = *passwordDigest("123456");
    const std::string old = "s1$0123456789abcdef$" + Md5Hex("0123456789abcdef" + digest);
    store().setDigest("alice", old);
    EXPECT_TRUE(sealIsCurrent(store().account("bob")->digest));

    EXPECT_EQ(login(alice, "alice", "654321").header.code, code::kWrongPassword);
    EXPECT_EQ(store().account("alice")->digest, old);
    EXPECT_EQ(login(alice, "alice").header.code, code::kLoginAccepted);
    const std::string resealed = store().account("alice")->digest;
    EXPECT_TRUE(sealIsCurrent(resealed));
    EXPECT_TRUE(digestMatches(resealed, digest));
    EXPECT_EQ(login(client(2), "alice").header.code, code::kLoginAccepted);
    EXPECT_EQ(store().account("alice")->digest, resealed);
    // A reseal that finds the seal changed meanwhile leaves it; a seal for nobody is refused.
    EXPECT_FALSE(store().resealDigest("alice", old, sealDigest(digest)));
    EXPECT_EQ(store().account("alice")->digest, resealed);
    EXPECT_THROW(store().setDigest("nobody", old), StoreError);
}

// The sweep looks at a share of the sessions every turn: with logins spread over six rounds and those
// ahead ending first, each still ends within an interval and a turn of its time-out.
TEST_F(ChatTest, EverySilentSessionEndsWithinASweepIntervalOfItsTimeOut) {
    config_.sessionTimeout = 4s;            // under the stall silence: silence alone ends it
    Account a = *store().account("alice");  // her seal, under other names
    std::vector<std::pair<std::string, Time>> silentSince;
    const auto step = [&] {
        advance(10ms);
        std::erase_if(silentSince, [&](const auto& who) {
            if (chat().sessionOf(who.first)) return false;
            EXPECT_GT(now_ - who.second, 4s) << who.first;
            EXPECT_LE(now_ - who.second, 4s + config_.sweepInterval() + config_.sweepTurn()) << who.first;
            return true;
        });
    };
    for (int i = 0; i < 60; ++i) {
        a.name = a.nick = "quiet" + std::to_string(i);
        store().createAccount(a);
        login(client(100 + i), a.name.c_str());
        silentSince.emplace_back(a.name, now_);
        for (int k = 0; k < 10; ++k) step();
    }
    for (const Time end = now_ + 8s; now_ < end && !silentSince.empty();) step();
    EXPECT_TRUE(silentSince.empty()) << silentSince.size() << " never timed out";
}

}  // namespace
}  // namespace nq::server
