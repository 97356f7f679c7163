// The command line and the admin commands, in-process on a demo database; that main turns a
// refusal into one line and status 2 is checked once against the real executable.

#include "server/cli.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "server/admin.h"
#include "server/sqlite_store.h"
#include "support/temp_dir.h"

namespace nq::server {
namespace {

using namespace std::chrono_literals;

// The words of a line split at spaces; "_" stands for a space inside a word, '' for an empty one.
CommandLine parse(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string w; in >> w;) {
        std::replace(w.begin(), w.end(), '_', ' ');
        words.push_back(w == "''" ? "" : w);
    }
    return parseCommandLine(std::vector<std::string_view>(words.begin(), words.end()));
}

TEST(CommandLine, DefaultsAndEveryServeOption) {
    const CommandLine serve = parse("serve");
    const auto& d = std::get<ServeOptions>(serve.command);
    EXPECT_EQ(std::tie(d.address, d.dispatcherPort, d.chatPort, d.minVersion, d.ringBudget),
              std::tuple("0.0.0.0", 4000, 8000, "1.0", 48 * 1024u));
    const auto line = parse(
        "--address 127.0.0.5 --dispatcher-port 4100 --chat-port=8100 --role dispatcher --chat-server "
        "10.0.0.1:8000 --chat-server chat.example:8001 --public-host nq.example --min-version 1.2 "
        "--update-target "
        "pkg --session-timeout 1.5 --pace-tick 20 --ring-budget 30000 --trace --log-level debug --db "
        "/tmp/x.db --login-address-failures 7 --login-account-failures 30 --login-backoff 0.5 "
        "--login-backoff-max 60 --login-account-checks 12 --frame-rate 30 --datagram-frames 3 --reply-rate 7 "
        "--held-frames 100 --held-bytes 70000 --waiting-rate 9 --waiting-max 50 --waiting-days 2 --log-lines "
        "5 --group-rate 4");
    const auto& o = std::get<ServeOptions>(line.command);
    EXPECT_EQ(line.db, "/tmp/x.db");
    EXPECT_EQ(std::tie(o.address, o.dispatcherPort, o.chatPort, o.publicHost, o.minVersion, o.updateTarget),
              std::tuple("127.0.0.5", 4100, 8100, "nq.example", "1.2", "pkg"));
    EXPECT_EQ(std::tie(o.sessionTimeoutSeconds, o.paceTickMs, o.ringBudget), std::tuple(1.5, 20.0, 30000u));
    EXPECT_TRUE(o.role == Role::Dispatcher && o.trace && o.logLevel == LogLevel::Debug);
    EXPECT_EQ(std::tie(o.login.addressFailures, o.login.accountFailures, o.login.accountChecksPerMinute),
              std::tuple(7, 30, 12));
    EXPECT_EQ(std::tie(o.login.backoff, o.login.backoffMax), std::tuple(Duration(500ms), Duration(60s)));
    EXPECT_EQ(
        std::tie(o.input.framesPerSecond, o.input.framesPerDatagram, o.input.repliesPerSecond, o.heldFrames,
                 o.heldBytes, o.waiting.perSenderPerMinute, o.waiting.perReceiver, o.logLinesPerMinute),
        std::tuple(30.0, 3, 7.0, 100u, 70000u, 9, 50, 5));
    EXPECT_EQ(o.waiting.maxAge, Duration(48h));
    EXPECT_EQ(o.input.groupLinesPerMinute, 4);
    ASSERT_EQ(o.chatServers.size(), 2u);
    EXPECT_EQ(std::tie(o.chatServers[1].host, o.chatServers[1].port), std::tuple("chat.example", 8001));
    const CommandLine add = parse("user add bob pw --db a.db --head w10 --level 4 --coins 7");
    const auto& u = std::get<UserAdd>(add.command);
    EXPECT_EQ(std::tie(u.name, u.password, u.nick, u.head, u.level, u.coins),
              std::tuple("bob", "pw", "bob", "w10", 4, 7));  // the nick is the name when not given
    EXPECT_EQ(std::get<SendNotice>(parse("notice --box hello_there").command).text, "hello there");
    EXPECT_EQ(std::get<GroupAdd>(parse("group add 棋 alice bob --intro 你_好").command).intro, "你 好");
}

class AdminCommand : public ::testing::Test {
  protected:
    std::string run(const std::string& line) {
        std::ostringstream out;
        const CommandLine c = parse(line);
        if (!std::holds_alternative<ServeOptions>(c.command)) runAdmin(store_, c.command, out);
        return out.str();
    }
    test::TempDir dir_{"nqserver-admin"};
    SqliteStore store_{dir_.file("admin.db")};
};

// Each refusal names what is wrong; main answers both kinds with one line and status 2.
TEST_F(AdminCommand, MalformedOrContradictoryLinesAreRefused) {
    run("demo");
    auto refusal = [&](const std::string& line) -> std::string {
        try {
            run(line);
        } catch (const UsageError& e) {
            return e.what();
        } catch (const StoreError& e) {
            return e.what();
        }
        return "accepted";
    };
    const std::string longText(201, 'h');  // texts that travel in a frame leave room in it
    const std::pair<std::string, const char*> cases[] = {
        {"--bogus", "unknown option --bogus"},
        {"--role both --chat-port 4000", "different ports"},
        {"--ring-budget 100", "from 4096 to 64387"},
        {"--ring-budget 65000", "from 4096 to 64387"},
        {"--chat-port 80x", "--chat-port wants a whole number"},
        {"--dispatcher-port 65536", "--dispatcher-port wants a whole number"},
        {"--session-timeout -3", "--session-timeout wants a positive number"},
        {"--chat-server nohost", "--chat-server wants HOST:PORT"},
        {"--address not-an-address", "--address wants an IPv4 address"},
        {"--role proxy", "--role is both, dispatcher or chat"},
        {"--role dispatcher", "needs at least one --chat-server"},
        {"--min-version 1.10", "--min-version wants a digit, a point and a digit"},
        {"--log-level loud", "--log-level is debug, info, warn or error"},
        {"--login-address-failures 0", "--login-address-failures wants a whole number"},
        {"--login-backoff 2 --login-backoff-max 1", "shorter than --login-backoff"},
        {"--login-backoff-max 90000", "at most 86400"},
        {"--db", "--db needs a value"},
        {"frobnicate", "unknown command"},
        {"user", "user wants add, passwd, list or coins"},
        {"user coins alice lots", "COINS wants a whole number"},
        {"group role 周末棋友会 king bob", "a role is host, hostess, deputy or butler"},
        {"group role 周末棋友会 butler dave", "no member"},
        {"group dissolve nosuch", "no group"},
        {"user add zed", "missing PASSWORD"},
        {"user add zed pw --head w12", "--head is m0..m9 or w1..w10"},
        {"user add zed pw --level high", "--level wants a whole number"},
        {"user add a[b] pw", "INI"},
        {"user add zed pw --nick 老王(庄主)", "(庄主)"},
        {"user add zed pw --nick 😀", "GBK cannot write"},
        {"user add zed 密码", "printable ASCII"},
        {"user add alice pw", "exists already"},
        {"user add zed pw --nick 鲍勃", "taken"},
        {"user add zed pw --nick bob", "account of somebody else"},
        {"user add zzzzzzzzzzzzzzzzzzzzzzzzz pw", "longer than 24 bytes"},
        {"user passwd nobody pw", "no account nobody"},
        {"friend alice", "missing NAME2"},
        {"friend alice alice", "his own friend"},
        {"friend alice ghost", "no account ghost"},
        {"notice hello", "--box or --toast"},
        {"notice --toast a b", "unexpected \"b\""},
        {"notice --box " + std::string(1000, 'x'), "one frame carries 998"},
        {"group add 周末棋友会 bob", "exists already"},
        {"group add 鲍勃 bob", "account or nick of somebody"},
        {"group add 新群 alice bob bob", "named twice"},
        {"group add 一二三四五六七八九十一二三四五六七八九十一二三四五 alice", "longer than 24 characters"},
        {"user add 周末棋友会 pw", "name of a group"},
    };
    for (const auto& [line, says] : cases) {
        const std::string said = refusal(line);
        EXPECT_TRUE(said != "accepted" && said.find(says) != std::string::npos) << line << ": " << said;
    }
    for (const std::string& line : std::initializer_list<std::string>{
             "--chat-port -1", "--nick x", "--pace-tick 5x", "--chat-server host:0", "--public-host ''",
             "--update-target " + longText, "--trace=1", "serve now", "user list extra", "user add a b --box",
             "friend a --nick b", "demo now", "servers all", "notice --box --toast x"})
        EXPECT_NE(refusal(line), "accepted") << line;
    EXPECT_EQ(store_.accounts().size(), 5u);  // nothing refused was half done
    EXPECT_EQ(store_.groups().size(), 1u);
}

TEST_F(AdminCommand, DemoIsIdempotentAndListsItsAccounts) {
    run("demo");
    EXPECT_NE(run("demo").find("alice exists, kept as it is"), std::string::npos);
    EXPECT_NE(run("group list").find("1\t周末棋友会\talice\t4\n1 group"), std::string::npos);
    const std::string list = run("user list");
    // account, nick, head, level, coins, friends, blacklist: the friendships both ways, once.
    for (const char* row : {"alice\t爱丽丝\tw2\t5\t12000\t3\t0", "bob\t鲍勃\tm2\t3\t800\t2\t0",
                            "erin\t艾琳\tw1\t1\t0\t0\t0", "5 accounts"})
        EXPECT_NE(list.find(row), std::string::npos) << row << " in\n" << list;
}

}  // namespace
}  // namespace nq::server
