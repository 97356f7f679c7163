#include "server/cli.h"

#include <gtest/gtest.h>

namespace nq::server {
namespace {

CommandLine parse(std::initializer_list<std::string_view> args) {
    return parseCommandLine(std::vector(args));
}

TEST(ServeCommandLine, ServingIsTheDefaultWithTheDocumentedValues) {
    for (auto line : {parse({}), parse({"serve"})}) {
        EXPECT_EQ(line.db, "nqserver.db");
        const auto& o = std::get<ServeOptions>(line.command);
        EXPECT_EQ(o.address, "0.0.0.0");
        EXPECT_EQ(o.dispatcherPort, 4000);
        EXPECT_EQ(o.chatPort, 8000);
        EXPECT_EQ(o.role, Role::Both);
        EXPECT_TRUE(o.chatServers.empty());
        EXPECT_EQ(o.minVersion, "1.0");
        EXPECT_EQ(o.sessionTimeoutSeconds, 60);
        EXPECT_EQ(o.paceTickMs, 500);
        EXPECT_FALSE(o.trace);
        EXPECT_EQ(o.logLevel, LogLevel::Info);
    }
}

TEST(ServeCommandLine, EveryServeOptionIsRead) {
    const auto line = parse({"--address",
                             "127.0.0.5",
                             "--dispatcher-port",
                             "4100",
                             "--chat-port",
                             "8100",
                             "--role",
                             "dispatcher",
                             "--chat-server",
                             "10.0.0.1:8000",
                             "--chat-server",
                             "chat.example:8001",
                             "--public-host",
                             "nq.example",
                             "--min-version",
                             "1.2",
                             "--update-target",
                             "pkg",
                             "--session-timeout",
                             "1.5",
                             "--pace-tick",
                             "20",
                             "--ring-budget",
                             "30000",
                             "--trace",
                             "--log-level",
                             "debug",
                             "--db",
                             "/tmp/x.db"});
    EXPECT_EQ(line.db, "/tmp/x.db");
    const auto& o = std::get<ServeOptions>(line.command);
    EXPECT_EQ(o.address, "127.0.0.5");
    EXPECT_EQ(o.dispatcherPort, 4100);
    EXPECT_EQ(o.chatPort, 8100);
    EXPECT_EQ(o.role, Role::Dispatcher);
    ASSERT_EQ(o.chatServers.size(), 2u);
    EXPECT_EQ(o.chatServers[1].host, "chat.example");
    EXPECT_EQ(o.chatServers[1].port, 8001);
    EXPECT_EQ(o.publicHost, "nq.example");
    EXPECT_EQ(o.minVersion, "1.2");
    EXPECT_EQ(o.updateTarget, "pkg");
    EXPECT_DOUBLE_EQ(o.sessionTimeoutSeconds, 1.5);
    EXPECT_DOUBLE_EQ(o.paceTickMs, 20);
    EXPECT_EQ(o.ringBudget, 30000u);
    EXPECT_TRUE(o.trace);
    EXPECT_EQ(o.logLevel, LogLevel::Debug);
}

TEST(ServeCommandLine, AdminCommandsTakeTheirWordsAndTheDatabaseAnywhere) {
    auto add =
        parse({"user", "add", "bob", "pw", "--db", "a.db", "--head", "w10", "--level", "4", "--coins", "7"});
    EXPECT_EQ(add.db, "a.db");
    const auto& u = std::get<UserAdd>(add.command);
    EXPECT_EQ(u.name, "bob");
    EXPECT_EQ(u.nick, "bob");  // the name when no nick is given
    EXPECT_EQ(u.head, "w10");
    EXPECT_EQ(u.level, 4);
    EXPECT_EQ(u.coins, 7);

    EXPECT_EQ(std::get<UserPasswd>(parse({"--db", "b.db", "user", "passwd", "bob", "x"}).command).password,
              "x");
    EXPECT_TRUE(std::holds_alternative<UserList>(parse({"user", "list"}).command));
    EXPECT_EQ(std::get<MakeFriends>(parse({"friend", "a", "b"}).command).second, "b");
    const auto n = std::get<SendNotice>(parse({"notice", "--box", "hello there"}).command);
    EXPECT_TRUE(n.box);
    EXPECT_EQ(n.text, "hello there");
    EXPECT_TRUE(std::holds_alternative<Demo>(parse({"demo"}).command));
    EXPECT_TRUE(std::holds_alternative<ShowHelp>(parse({"user", "--help"}).command));
}

TEST(ServeCommandLine, ContradictionsAreRefused) {
    // Texts that would travel to the client in a frame must leave room in it.
    static const std::string kLongText(201, 'h');
    const std::vector<std::vector<std::string_view>> bad = {
        {"--role", "both", "--chat-port", "4000"},
        {"--ring-budget", "100"},
        {"--ring-budget", "65000"},
        {"--pace-tick", "0"},
        {"--session-timeout", "abc"},
        {"--chat-server", "host:0"},
        {"--public-host", ""},
        {"--public-host", std::string_view(kLongText)},
        {"--update-target", std::string_view(kLongText)},
        {"user", "list", "extra"},
        {"demo", "now"},
        {"friend", "a", "--nick", "b"},
    };
    for (const auto& args : bad) EXPECT_THROW(parseCommandLine(args), UsageError) << args.front();
}

}  // namespace
}  // namespace nq::server
