#include <gtest/gtest.h>

#include "session/startup.h"

namespace nq {
namespace {

TEST(Startup, OwnOptionsComeOffFirstAndTheRestIsTheHallLine) {
    auto o = parseAppOptions({"--home", "/tmp/h", "--trace", "alice$d1g$2$"});
    EXPECT_TRUE(o.error.empty());
    EXPECT_EQ(o.home, "/tmp/h");
    EXPECT_TRUE(o.trace);
    EXPECT_EQ(o.rest, "alice$d1g$2$");

    o = parseAppOptions({"--home=/x", "--tick-ms", "50"});
    EXPECT_EQ(o.home, "/x");
    EXPECT_EQ(o.tickMs, 50);
    EXPECT_EQ(o.rest, "");

    EXPECT_FALSE(parseAppOptions({"--home"}).error.empty());
    EXPECT_FALSE(parseAppOptions({"--tick-ms", "0"}).error.empty());
    EXPECT_FALSE(parseAppOptions({"--tick-ms"}).error.empty());
}

TEST(Startup, ProgramFolderPrecedence) {
    EXPECT_EQ(resolveProgramFolder("/opt", "/env", "/exe"), "/opt");
    EXPECT_EQ(resolveProgramFolder("", "/env", "/exe"), "/env");
    EXPECT_EQ(resolveProgramFolder("", "", "/exe"), "/exe");
    EXPECT_EQ(resolveProgramFolder("", nullptr, "/exe"), "/exe");
}

TEST(Startup, HallLineFields) {
    EXPECT_FALSE(parseHallLine("   "));
    auto h = parseHallLine(" bob$abc$3$ ");
    ASSERT_TRUE(h);
    EXPECT_EQ(h->name, "bob");
    EXPECT_EQ(h->digest, "abc");
    EXPECT_EQ(h->command, 3);
    h = parseHallLine("bob$abc");
    EXPECT_TRUE(h && h->name == "bob" && h->digest.empty() && h->command == 0);
}

TEST(Startup, PositionsAppliedOnlyRightOfTheEdge) {
    auto p = parsePosition("1500,300,");
    ASSERT_TRUE(p);
    EXPECT_EQ(p->left, 1500);
    EXPECT_EQ(p->top, 300);
    EXPECT_FALSE(parsePosition("0,300,"));
    EXPECT_FALSE(parsePosition("-15,300,"));
    EXPECT_FALSE(parsePosition("junk"));
    EXPECT_EQ(formatPosition(1234.5, 60), "1234.5,60,");
}

TEST(Startup, TimesHaveNoSlash) {
    const std::string t = formatDateTime(1146457807);  // 2006-05-01 04:30:07 UTC
    EXPECT_EQ(t.find('/'), std::string::npos);
    EXPECT_EQ(t.size(), std::string("2006-5-1 12:30:07").size());
    EXPECT_EQ(formatTimeOfDay(1146457807).size(), 8u);
}

}  // namespace
}  // namespace nq
