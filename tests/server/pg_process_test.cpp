// Chat servers on PostgreSQL as real processes: the loop woken by a notification, a database
// that goes away under a server, and a server that dies under the others.

#include <thread>

#include "server/pg_store.h"
#include "server_process.h"

namespace nq::test {
namespace {

using std::chrono::steady_clock;

// Two chat servers on the database, both reporting, and a friend on each.
struct TwoServers {
    explicit TwoServers(const char* name) : db(name) {
        server::PgStore shared(db.uri());
        for (int i = 0; i < 500 && shared.loads().size() < 2; ++i) std::this_thread::sleep_for(10ms);
        alice.enter(a.chat(), "alice");
        bob.enter(b.chat(), "bob");
        alice.waitFor(kind::kPresence);  // bob came
    }
    const std::string address = claimLoopbackAddress();
    const std::vector<std::string> args = {"--role", "chat", "--public-host", address, "--session-timeout",
                                           "60"};
    PgDatabase db;
    ServerProcess a{address, args, db.uri(), 8001}, b{address, args, db.uri(), 8002};
    Client alice{address}, bob{address};
};

// The second message leaves right after the first arrived, when the other server has just read:
// had its loop not watched the notification's socket, its next read would be 5 s away.
TEST(NqserverPostgres, AMessageToAnotherServerWakesItsLoop) {
    TwoServers s("wake");
    s.alice.send(kind::kChat, {"bob", g("宋体/10/0/1:00/一")});
    s.bob.waitFor(kind::kChat, 7s);
    s.alice.send(kind::kChat, {"bob", g("宋体/10/0/1:00/二")});
    EXPECT_EQ(s.bob.waitFor(kind::kChat, 2s).fields[2], g("宋体/10/0/1:00/二"));
}

// The database goes away under two servers: lines and group lines between users of one server
// flow, a request that needs the database gets its refusal, and a logout is told to friends here
// once the database says who they are, and to those elsewhere once the event queued meanwhile is
// written.
TEST(NqserverPostgres, WhileTheDatabaseIsAwayLiveLinesFlowAndWritesWait) {
    TwoServers s("outage");
    Client carol(s.address);
    carol.enter(s.a.chat(), "carol");
    for (Client* c : {&s.alice, &s.bob}) c->waitFor(kind::kPresence);
    const auto groupLine = [&](const char* text) {
        s.alice.send(kind::kGroupChat, {g("周末棋友会"), g(text)});
    };
    groupLine("宋体/10/0/1:00/开局");  // its members are read now, and kept
    carol.waitFor(kind::kGroupChat);
    s.db.setReachable(false);
    s.alice.send(kind::kChat, {"carol", g("宋体/10/0/1:00/还在吗")});
    EXPECT_EQ(carol.waitFor(kind::kChat).fields[2], g("宋体/10/0/1:00/还在吗"));
    groupLine("宋体/10/0/1:01/还在下");
    EXPECT_EQ(carol.waitFor(kind::kGroupChat).fields[2], g("宋体/10/0/1:01/还在下"));
    s.alice.send(kind::kAddFriend, {"erin"});
    EXPECT_EQ(s.alice.waitFor(kind::kAddFriend).header.code, code::kFailed);
    s.alice.send(kind::kChat, {"dave", g("宋体/10/0/1:00/等你")});
    s.alice.waitFor(kind::kNoticeToast);
    carol.send(kind::kLogout);
    s.alice.expectSilence(300ms, kind::kPresence);
    s.db.setReachable(true);
    for (Client* c : {&s.alice, &s.bob})
        EXPECT_EQ(c->waitFor(kind::kPresence, 5s).header.code, code::kOffline);
    EXPECT_EQ(server::PgStore(s.db.uri()).onlineAt(s.address + ":8001"), std::vector<Bytes>{"alice"});
}

// A server killed is taken as gone once it has not reported for 15 s: friends elsewhere hear its
// people go. Started again within 150 s it takes its sessions up, and they hear them come back.
TEST(NqserverPostgres, AServerThatDiesIsTakenAsGoneAndBackWhenItReturns) {
    TwoServers s("gone");
    const auto killed = steady_clock::now();
    s.b.sigkill();
    EXPECT_EQ(s.alice.waitFor(kind::kPresence, 20s).header.code, code::kOffline);
    EXPECT_LT(steady_clock::now() - killed, 18s);  // 15 s after its last report, at the next look
    s.b.start();
    EXPECT_EQ(s.alice.waitFor(kind::kPresence, 5s).header.code, code::kOnline);
}

}  // namespace
}  // namespace nq::test
