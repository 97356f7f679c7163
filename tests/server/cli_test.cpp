#include "server/cli.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace nq::server {
namespace {

// The words of a line split at spaces; "_" stands for a space inside a word.
CommandLine parse(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string w; in >> w;) {
        std::replace(w.begin(), w.end(), '_', ' ');
        words.push_back(w == "''" ? "" : w);
    }
    return parseCommandLine(std::vector<std::string_view>(words.begin(), words.end()));
}

TEST(ServeCommandLine, DefaultsAndEveryServeOption) {
    for (auto line : {parse(""), parse("serve")}) {
        const auto& o = std::get<ServeOptions>(line.command);
        EXPECT_EQ(line.db, "nqserver.db");
        EXPECT_EQ(std::tie(o.address, o.dispatcherPort, o.chatPort, o.minVersion),
                  std::tuple("0.0.0.0", 4000, 8000, "1.0"));
        EXPECT_EQ(std::tie(o.sessionTimeoutSeconds, o.paceTickMs, o.ringBudget),
                  std::tuple(60.0, 500.0, 48 * 1024u));
        EXPECT_TRUE(o.role == Role::Both && o.chatServers.empty() && !o.trace &&
                    o.logLevel == LogLevel::Info);
    }
    const auto line = parse(
        "--address 127.0.0.5 --dispatcher-port 4100 --chat-port=8100 --role dispatcher --chat-server "
        "10.0.0.1:8000 --chat-server chat.example:8001 --public-host nq.example --min-version 1.2 "
        "--update-target "
        "pkg --session-timeout 1.5 --pace-tick 20 --ring-budget 30000 --trace --log-level debug --db "
        "/tmp/x.db");
    const auto& o = std::get<ServeOptions>(line.command);
    EXPECT_EQ(line.db, "/tmp/x.db");
    EXPECT_EQ(std::tie(o.address, o.dispatcherPort, o.chatPort, o.publicHost, o.minVersion, o.updateTarget),
              std::tuple("127.0.0.5", 4100, 8100, "nq.example", "1.2", "pkg"));
    EXPECT_EQ(std::tie(o.sessionTimeoutSeconds, o.paceTickMs, o.ringBudget), std::tuple(1.5, 20.0, 30000u));
    EXPECT_TRUE(o.role == Role::Dispatcher && o.trace && o.logLevel == LogLevel::Debug);
    ASSERT_EQ(o.chatServers.size(), 2u);
    EXPECT_EQ(std::tie(o.chatServers[1].host, o.chatServers[1].port), std::tuple("chat.example", 8001));
}

TEST(ServeCommandLine, AdminCommandsTakeTheirWordsAndTheDatabaseAnywhere) {
    auto add = parse("user add bob pw --db a.db --head w10 --level 4 --coins 7");
    EXPECT_EQ(add.db, "a.db");
    const auto& u = std::get<UserAdd>(add.command);
    EXPECT_EQ(std::tie(u.name, u.password, u.nick, u.head, u.level, u.coins),
              std::tuple("bob", "pw", "bob", "w10", 4, 7));  // the nick is the name when not given
    EXPECT_EQ(std::get<UserPasswd>(parse("--db b.db user passwd bob x").command).password, "x");
    EXPECT_TRUE(std::holds_alternative<UserList>(parse("user list").command));
    EXPECT_EQ(std::get<MakeFriends>(parse("friend a b").command).second, "b");
    const auto n = std::get<SendNotice>(parse("notice --box hello_there").command);
    EXPECT_TRUE(n.box);
    EXPECT_EQ(n.text, "hello there");
    EXPECT_TRUE(std::holds_alternative<Demo>(parse("demo").command));
    EXPECT_TRUE(std::holds_alternative<ShowHelp>(parse("user --help").command));
}

TEST(ServeCommandLine, MalformedOrContradictoryLinesAreRefused) {
    const std::string longText(201, 'h');  // texts that travel in a frame leave room in it
    const std::string bad[] = {"--role both --chat-port 4000",
                               "--ring-budget 100",
                               "--ring-budget 65000",
                               "--chat-port 80x",
                               "--chat-port -1",
                               "--dispatcher-port 65536",
                               "--pace-tick 0",
                               "--pace-tick 5x",
                               "--session-timeout abc",
                               "--chat-server host:0",
                               "--public-host ''",
                               "--public-host " + longText,
                               "--update-target " + longText,
                               "--nick x",
                               "user list extra",
                               "user add a b --box",
                               "demo now",
                               "friend a --nick b",
                               "serve now",
                               "notice --box --toast x",
                               "--db ''",
                               "--trace=1",
                               "--bogus",
                               "--db"};
    for (const std::string& line : bad) EXPECT_THROW(parse(line), UsageError) << line;
}

}  // namespace
}  // namespace nq::server
