// Chat servers on PostgreSQL as real processes, through their faults.

#include <thread>

#include "pg_database.h"
#include "server/pg_store.h"
#include "server_process.h"

namespace nq::test {
namespace {

// A database of its own in the fixture's cluster, with the demo accounts.
struct Database {
    Database() {
        pgRun("postgres", "CREATE DATABASE " + name);
        EXPECT_EQ(runNqserver({"--db", uri, "demo"}).status, 0);
    }
    ~Database() { pgRun("postgres", "DROP DATABASE " + name + " WITH (FORCE)"); }
    // Nobody may connect and every connection ends, as while the database is down; or back.
    void reachable(bool yes) const {
        pgRun("postgres", "ALTER DATABASE " + name + " ALLOW_CONNECTIONS " + (yes ? "true" : "false"));
        pgRun("postgres",
              "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = '" + name + "'");
    }
    const std::string name = "e2e_" + std::to_string(getpid()), uri = pgUri(name);
};

// Alice and carol on chat server A, bob on B. The second message to bob leaves when B has just
// read: had B's loop not watched the notification's socket, its next read would be 5 s away.
// While the database is away, what A can do from memory goes on and the rest waits or is refused.
// B killed is taken as gone 15 s after its last report; started again, it takes its sessions up.
TEST(NqserverPostgres, TwoChatServersThroughTheirFaults) {
    const std::string address = claimLoopbackAddress();
    const Database db;
    const std::vector<std::string> args = {"--role", "chat", "--public-host", address, "--session-timeout",
                                           "60"};
    ServerProcess a(address, args, db.uri, 8001), b(address, args, db.uri, 8002);
    for (int i = 0; i < 500 && server::PgStore(db.uri).loads().size() < 2; ++i)
        std::this_thread::sleep_for(10ms);
    Client alice(address), bob(address), carol(address);
    alice.enter(a.chat(), "alice");
    bob.enter(b.chat(), "bob");
    carol.enter(a.chat(), "carol");
    for (Client* c : {&alice, &alice, &bob}) c->waitFor(kind::kPresence);  // bob and carol came

    alice.send(kind::kChat, {"bob", "1"});
    bob.waitFor(kind::kChat, 7s);
    alice.send(kind::kChat, {"bob", "2"});
    EXPECT_EQ(bob.waitFor(kind::kChat, 2s).fields[2], "2");

    alice.send(kind::kGroupChat, {g("周末棋友会"), "3"});  // its members are read, and kept
    carol.waitFor(kind::kGroupChat);
    db.reachable(false);
    alice.send(kind::kChat, {"carol", "4"});
    EXPECT_EQ(carol.waitFor(kind::kChat).fields[2], "4");
    alice.send(kind::kGroupChat, {g("周末棋友会"), "5"});
    EXPECT_EQ(carol.waitFor(kind::kGroupChat).fields[2], "5");
    alice.send(kind::kAddFriend, {"erin"});
    EXPECT_EQ(alice.waitFor(kind::kAddFriend).header.code, code::kFailed);
    alice.send(kind::kChat, {"dave", "6"});
    alice.waitFor(kind::kNoticeToast);
    carol.send(kind::kLogout);
    db.reachable(true);
    for (Client* c : {&alice, &bob}) EXPECT_EQ(c->waitFor(kind::kPresence, 5s).header.code, code::kOffline);
    EXPECT_EQ(server::PgStore(db.uri).onlineAt(address + ":8001"), std::vector<Bytes>{"alice"});

    b.kill();
    EXPECT_EQ(alice.waitFor(kind::kPresence, 18s).header.code, code::kOffline);  // 15 s after its last report
    b.start();
    EXPECT_EQ(alice.waitFor(kind::kPresence, 5s).header.code, code::kOnline);
}

// A message to a user on another server travels in its notification and is stored beside it:
// B sends it and deletes the row, or drops it for bob's blacklist, which only B holds; with B
// dead the row waits, and bob's next login, on A, finds it.
TEST(NqserverPostgres, AMessageCrossingServersIsSentFromItsEventAndOutlivesItsReceiversServer) {
    const std::string address = claimLoopbackAddress();
    const Database db;
    const std::vector<std::string> args = {"--role", "chat", "--public-host", address};
    ServerProcess a(address, args, db.uri, 8001), b(address, args, db.uri, 8002);
    server::PgStore store(db.uri);
    for (int i = 0; i < 500 && store.loads().size() < 2; ++i) std::this_thread::sleep_for(10ms);
    auto waiting = [&](int expected) {
        for (int i = 0; i < 100 && store.countWaiting("bob", 10) != expected; ++i)
            std::this_thread::sleep_for(10ms);
        return store.countWaiting("bob", 10);
    };
    Client alice(address), bob(address), carol(address), again(address);
    alice.enter(a.chat(), "alice");
    carol.enter(a.chat(), "carol");
    bob.enter(b.chat(), "bob");
    alice.waitFor(kind::kPresence);  // bob came

    alice.send(kind::kChat, {"bob", "1"});
    EXPECT_EQ(bob.waitFor(kind::kChat).fields[2], "1");
    EXPECT_EQ(waiting(0), 0);
    bob.send(kind::kAddToBlacklist, {"alice"});
    bob.waitFor(kind::kAddToBlacklist);
    alice.send(kind::kChat, {"bob", "2"});
    bob.expectSilence(500ms, kind::kChat);
    EXPECT_EQ(waiting(0), 0);

    b.kill();
    carol.send(kind::kChat, {"bob", "3"});
    EXPECT_EQ(waiting(1), 1);
    again.enter(a.chat(), "bob");
    EXPECT_EQ(again.waitFor(kind::kChat).fields[2], "3");
}

}  // namespace
}  // namespace nq::test
