// The executable's command line and admin commands, on their own and beside a running server.

#include <algorithm>
#include <fstream>

#include "server_fixture.h"
#include "wire/digest.h"

namespace nq::test {
namespace {

TEST(NqserverCommandLine, BadInputGivesOneLineAndStatusTwo) {
    const TempDir folder("nqserver-cli");
    const std::string db = folder.file("cli.db");
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
        {{"user", "add", "zed", "pw", "--nick", "老王(庄主)"}, "(庄主)"},
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
}

TEST(NqserverCommandLine, DemoIsIdempotentAndListsItsAccounts) {
    const TempDir folder("nqserver-cli");
    const std::string db = folder.file("demo.db");
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
}

TEST_F(ServerTest, NewAccountsAndPasswordsWorkOnARunningServer) {
    auto& s = launch();
    ASSERT_EQ(s.admin({"user", "add", "小明", "secret", "--nick", "明明", "--head", "m7", "--level", "3",
                       "--coins", "42"})
                  .status,
              0);
    auto c = client();
    Received r = c->loginChat(s.chat(), g("小明"), "secret");
    ASSERT_EQ(r.header.code, code::kLoginAccepted);
    EXPECT_EQ(r.fields, (std::vector<Bytes>{g("明明"), "m7"}));

    ASSERT_EQ(s.admin({"user", "passwd", "小明", "better"}).status, 0);
    auto d = client();
    EXPECT_EQ(d->loginChat(s.chat(), g("小明"), "secret").header.code, code::kWrongPassword);
    EXPECT_EQ(d->loginChat(s.chat(), g("小明"), "better").header.code, code::kLoginAccepted);

    // The password is not in the database in any form the client sends.
    std::ifstream in(s.db(), std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(file.find(*passwordDigest("better")), std::string::npos);
}

TEST_F(ServerTest, NoticesFromTheAdminCommandReachEveryoneOnline) {
    // Notices are picked up once a second: sessions must outlive the default test time-out.
    auto& s = launch({"--session-timeout", "30"});
    auto alice = client();
    alice->enter(s.chat(), "alice");
    auto erin = client();
    erin->enter(s.chat(), "erin");
    const std::tuple<const char*, FrameKind, const char*> cases[] = {
        {"--toast", kind::kNoticeToast, "服务器将在十分钟后重启"}, {"--box", kind::kNoticeBox, "欢迎使用"}};
    for (const auto& [flag, kind, text] : cases) {
        SCOPED_TRACE(flag);
        const AdminResult r = s.admin({"notice", flag, text});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find("1 chat server"), std::string::npos) << r.out;
        for (auto* c : {alice.get(), erin.get()})
            EXPECT_EQ(c->waitFor(kind, 4s).fields, std::vector<Bytes>{g(text)});
    }
}

}  // namespace
}  // namespace nq::test
