// The executable's command line: admin commands, their errors, and the roles split over
// several processes. Loopback addresses 127.0.0.55 to 127.0.0.60.

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "server/sqlite_store.h"
#include "server_fixture.h"

namespace nq::test {
namespace {

TEST(NqserverCommandLine, BadInputGivesOneLineAndStatusTwo) {
    char folder[] = "/tmp/nqserver-cli-XXXXXX";
    ASSERT_TRUE(mkdtemp(folder));
    const std::string db = std::string(folder) + "/cli.db";
    ASSERT_EQ(runNqserver({"--db", db, "demo"}).status, 0);

    struct Case {
        std::vector<std::string> args;
        const char* says;
    };
    const Case cases[] = {
        {{"--bogus"}, "unknown option --bogus"},
        {{"serve", "--dispatcher-port", "70000"}, "--dispatcher-port wants a whole number"},
        {{"--address", "not-an-address"}, "--address wants an IPv4 address"},
        {{"--role", "proxy"}, "--role is both, dispatcher or chat"},
        {{"--role", "dispatcher"}, "needs at least one --chat-server"},
        {{"--chat-server", "nohost"}, "--chat-server wants HOST:PORT"},
        {{"--session-timeout", "-3"}, "--session-timeout wants a positive number"},
        {{"--min-version", "1.10"}, "--min-version wants a digit, a point and a digit"},
        {{"--log-level", "loud"}, "--log-level is debug, info, warn or error"},
        {{"--db"}, "--db needs a value"},
        {{"frobnicate"}, "unknown command"},
        {{"user"}, "user wants add, passwd or list"},
        {{"user", "add", "zed"}, "missing PASSWORD"},
        {{"user", "add", "zed", "pw", "--head", "w12"}, "--head is m0..m9 or w1..w10"},
        {{"user", "add", "zed", "pw", "--level", "high"}, "--level wants a whole number"},
        {{"user", "add", "a[b]", "pw"}, "INI"},
        {{"user", "add", "a/b", "pw"}, "folder name"},
        {{"user", "add", " zed", "pw"}, "space"},
        {{"user", "add", "zed", "pw", "--nick", "老王(庄主)"}, "(庄主)"},
        {{"user", "add", "zed", "pw", "--nick", "其验证信息"}, "其验证信息"},
        {{"user", "add", "zed", "pw", "--nick", "😀"}, "GBK cannot write"},
        {{"user", "add", "zed", "密码"}, "printable ASCII"},
        {{"user", "add", "alice", "pw"}, "exists already"},
        {{"user", "add", "zed", "pw", "--nick", "鲍勃"}, "taken"},
        {{"user", "add", "zed", "pw", "--nick", "bob"}, "account of somebody else"},
        {{"user", "add", "zzzzzzzzzzzzzzzzzzzzzzzzz", "pw"}, "longer than 24 bytes"},
        {{"user", "passwd", "nobody", "pw"}, "no account nobody"},
        {{"friend", "alice"}, "missing NAME2"},
        {{"friend", "alice", "alice"}, "his own friend"},
        {{"friend", "alice", "ghost"}, "no account ghost"},
        {{"notice", "hello"}, "--box or --toast"},
        {{"notice", "--toast", "a", "b"}, "unexpected \"b\""},
        {{"notice", "--box", std::string(1000, 'x')}, "one frame carries 998"},
    };
    for (const Case& k : cases) {
        std::vector<std::string> args{"--db", db};
        args.insert(args.end(), k.args.begin(), k.args.end());
        const AdminResult r = runNqserver(args);
        SCOPED_TRACE(k.says);
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(k.says), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    // A database that cannot be opened is bad input too.
    EXPECT_EQ(runNqserver({"--db", "/nonexistent/folder/x.db", "user", "list"}).status, 2);
    std::system(("rm -rf '" + std::string(folder) + "'").c_str());
}

TEST(NqserverCommandLine, DemoIsIdempotentAndListsItsAccounts) {
    char folder[] = "/tmp/nqserver-cli-XXXXXX";
    ASSERT_TRUE(mkdtemp(folder));
    const std::string db = std::string(folder) + "/demo.db";
    ASSERT_EQ(runNqserver({"--db", db, "demo"}).status, 0);
    const AdminResult second = runNqserver({"--db", db, "demo"});
    EXPECT_EQ(second.status, 0);
    EXPECT_NE(second.out.find("alice exists, kept as it is"), std::string::npos);

    const AdminResult list = runNqserver({"--db", db, "user", "list"});
    ASSERT_EQ(list.status, 0);
    // account, nick, head, level, coins, friends, blacklist: the friendships both ways, once.
    EXPECT_NE(list.out.find("alice\t爱丽丝\tw3\t5\t12000\t3\t0"), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("bob\t鲍勃\tm2\t3\t800\t2\t0"), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("erin\t艾琳\tw1\t1\t0\t0\t0"), std::string::npos) << list.out;
    EXPECT_NE(list.out.find("5 accounts"), std::string::npos);
    std::system(("rm -rf '" + std::string(folder) + "'").c_str());
}

TEST_F(ServerTest, NewAccountsAndPasswordsWorkOnARunningServer) {
    auto& s = launch("127.0.0.55");
    ASSERT_EQ(s.admin({"user", "add", "小明", "secret", "--nick", "明明", "--head", "m7", "--level", "3",
                       "--coins", "42"})
                  .status,
              0);
    auto c = client();
    Received r = c->loginChat(s.chat(), g("小明"), "secret");
    ASSERT_EQ(r.header.code, 1);
    EXPECT_EQ(r.fields, (std::vector<Bytes>{g("明明"), "m7"}));

    ASSERT_EQ(s.admin({"user", "passwd", "小明", "better"}).status, 0);
    auto d = client();
    EXPECT_EQ(d->loginChat(s.chat(), g("小明"), "secret").header.code, 2);
    EXPECT_EQ(d->loginChat(s.chat(), g("小明"), "better").header.code, 1);

    // The password is not in the database in any form the client sends.
    std::ifstream in(s.db(), std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(file.find(wireDigest("better")), std::string::npos);
}

TEST_F(ServerTest, DispatcherSpreadsLoginsOverChatServersInOtherProcesses) {
    // This process is the dispatcher only; two chat servers run beside it on its database and
    // report their session counts there.
    auto& s = launch("127.0.0.56", {"--role", "dispatcher", "--chat-server", "127.0.0.56:8001",
                                    "--chat-server", "127.0.0.56:8002"});
    const std::vector<std::string> chatArgs{
        "--role", "chat", "--public-host", "127.0.0.56", "--session-timeout", "30", "--chat-port"};
    auto withPort = [&](const char* port) {
        auto args = chatArgs;
        args.push_back(port);
        return args;
    };
    ServerProcess chatA("127.0.0.56", withPort("8001"), s.db());
    ServerProcess chatB("127.0.0.56", withPort("8002"), s.db());
    chatA.start();
    chatB.start();

    std::vector<std::unique_ptr<ScriptedClient>> onA;
    for (const char* name : {"alice", "bob", "carol"}) {
        onA.push_back(client());
        ASSERT_EQ(onA.back()->loginChat(chatA.chat(), name).header.code, 1);
    }
    // Chat servers report to the database every two seconds; the dispatcher reads it every second.
    server::SqliteStore shared(s.db());
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    auto reportedOnA = [&] {
        for (const server::ServerLoad& l : shared.loads())
            if (l.server == "127.0.0.56:8001") return l.sessions;
        return -1;
    };
    while (reportedOnA() != 3 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    ASSERT_EQ(reportedOnA(), 3);
    std::this_thread::sleep_for(1200ms);

    std::vector<std::string> named;
    auto asker = client();
    for (int i = 0; i < 4; ++i) {
        const Received r = asker->askDispatcher(s.dispatcher(), "dave", "123456");
        ASSERT_EQ(r.header.code, 1);
        named.push_back(r.fields.at(0) + ":" + r.fields.at(1));
    }
    // B has none and takes logins until it draws level with A's three; a tie goes to the first.
    EXPECT_EQ(named, (std::vector<std::string>{"127.0.0.56:8002", "127.0.0.56:8002", "127.0.0.56:8002",
                                               "127.0.0.56:8001"}));
    if (HasFailure()) std::cerr << chatA.log() << chatB.log();
}

TEST_F(ServerTest, ChatServersSharingADatabaseActAsOne) {
    // Two chat servers on one database, no dispatcher needed for the test.
    auto& a = launch("127.0.0.57", {"--role", "chat", "--chat-port", "8001", "--session-timeout", "30"});
    ServerProcess b("127.0.0.57", {"--role", "chat", "--chat-port", "8002", "--session-timeout", "30"},
                    a.db());
    b.start();
    // Each learns of the other from its first load report.
    server::SqliteStore shared(a.db());
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (shared.loads().size() < 2 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    std::this_thread::sleep_for(1100ms);

    auto bob = client();
    bob->enter(b.chat(), "bob");
    auto alice = client();
    const auto rosters = alice->enter(a.chat(), "alice");
    // bob, on the other server, is among alice's friends online, and hears her come.
    ASSERT_FALSE(rosters.empty());
    EXPECT_EQ(rosters.back().kind(), "(3,4) code 3");
    EXPECT_EQ(rosters.back().fields, (std::vector<Bytes>{"bob", "m2"}));
    Received r = bob->waitFor(1, 4);
    EXPECT_EQ(r.header.code, 1);
    EXPECT_EQ(r.fields, std::vector<Bytes>{"alice"});

    // Messages cross in both directions.
    alice->send(2, 1, 0, {"bob", g("宋体/10/0/1:00/你在另一台上")});
    EXPECT_EQ(bob->waitFor(2, 1).fields[0], "alice");
    bob->send(2, 1, 0, {"alice", g("宋体/10/0/1:01/收到")});
    EXPECT_EQ(alice->waitFor(2, 1).fields[0], "bob");

    // alice logs in on bob's server: her session on the first one is expelled, bob hears nothing.
    auto again = client();
    ASSERT_EQ(again->loginChat(b.chat(), "alice").header.code, 1);
    EXPECT_EQ(alice->waitFor(1, 1).header.code, 3);
    bob->expectSilence(400ms, std::pair{1, 4});

    // And her logout there reaches friends on both servers.
    auto carol = client();
    carol->enter(a.chat(), "carol");
    again->send(1, 5, 0, {});
    for (auto* c : {bob.get(), carol.get()}) {
        r = c->waitFor(1, 4);
        while (r.header.code != 2) r = c->waitFor(1, 4);
        EXPECT_EQ(r.fields, std::vector<Bytes>{"alice"});
    }
    if (HasFailure()) std::cerr << b.log();
}

}  // namespace
}  // namespace nq::test
