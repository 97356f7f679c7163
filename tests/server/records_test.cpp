// Frame bodies, name rules, sealed digests and version codes.

#include "server/records.h"

#include <gtest/gtest.h>

#include "server/credentials.h"
#include "server/names.h"
#include "wire/digest.h"
#include "wire/fields.h"

namespace nq::server {
namespace {

Bytes g(std::string_view utf8) {
    return gbk::fromUtf8(utf8);
}

std::vector<Bytes> fieldsOf(std::string_view body) {
    std::vector<Bytes> out;
    FieldReader r(body);
    while (auto f = r.next()) out.emplace_back(*f);
    EXPECT_TRUE(r.rest().empty()) << "a body ends in a NUL";
    return out;
}

TEST(RosterBodies, StopBeforeTheEntryThatWouldNotFitOneFrame) {
    std::vector<Contact> many;
    for (int i = 0; i < 40; ++i)
        many.push_back({"friend" + std::to_string(i), g("好友名字很长的人") + std::to_string(i), "w10"});
    const Bytes roster = friendRoster(many);
    EXPECT_LE(roster.size(), kMaxBody);
    const auto fields = fieldsOf(roster);
    ASSERT_EQ(fields.size() % 3, 0u);
    const size_t kept = fields.size() / 3;
    EXPECT_GT(roster.size() + rosterEntrySize(many[kept]), kMaxBody);
    EXPECT_EQ(fields[0], "friend0");
    EXPECT_EQ(fields[1], "w10");
    EXPECT_EQ(fields[2], many[0].nick);

    EXPECT_EQ(fieldsOf(onlineRoster(many)).size() % 2, 0u);
    const Bytes black = blacklistRoster(many);
    EXPECT_LE(black.size(), kMaxBody);
    EXPECT_EQ(fieldsOf(black)[0], many[0].nick);
    EXPECT_TRUE(friendRoster({}).empty());
}

TEST(ProfileRecord, HasTwentyFiveFieldsAndFitsOneFrameWhateverIsStored) {
    Account a;
    a.name = "zhang";
    a.nick = g("张三");
    a.head = "m4";
    a.level = 3;
    a.coins = 99;
    a.age = 70000;  // read as 16 bits by the client
    a.sex = 1;
    a.setting = -70000;
    a.signature = g(std::string(200, 'x') + "签");
    a.address = g("很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址");
    for (Bytes* t : {&a.email, &a.school, &a.work, &a.city, &a.realName}) *t = std::string(180, 'y');
    const Bytes body = profileRecord(a);
    EXPECT_LE(body.size(), kMaxBody);
    const auto f = fieldsOf(body);
    ASSERT_EQ(f.size(), 25u);
    EXPECT_EQ(f[0], "zhang");
    EXPECT_EQ(f[1], "3");
    EXPECT_EQ(f[2], levelTitle(3));
    EXPECT_EQ(f[3], "99");
    EXPECT_EQ(f[4], g("张三"));
    EXPECT_EQ(f[5], "m4");
    EXPECT_EQ(f[7], "32767");
    EXPECT_EQ(f[8], "1");
    EXPECT_EQ(f[23], "-32768");
    EXPECT_EQ(f[24], "0");
    // The longest free texts gave way alike; a shorter one did not need to.
    EXPECT_LT(f[6].size(), 180u);
    for (int i : {11, 12, 17, 18, 19}) {
        EXPECT_LT(f[i].size(), 180u) << i;
        EXPECT_GT(f[i].size(), 100u) << i;
    }
    EXPECT_EQ(f[13], a.address);

    Account plain;
    plain.name = "li";
    plain.nick = "li";
    EXPECT_EQ(fieldsOf(profileRecord(plain)).size(), 25u);
}

TEST(CutGbk, NeverSplitsACharacterNorLeavesAHalfOne) {
    const Bytes two = g("汉字");
    struct Case {
        Bytes text;
        size_t max;
        Bytes expected;
    };
    const Case cases[] = {
        {"abc", 10, "abc"},
        {"abc", 2, "ab"},
        {two, 4, two},
        {two, 3, two.substr(0, 2)},
        {two, 1, ""},
        {"a" + two, 2, "a"},
        {Bytes("ok\xB0", 3), 10, "ok"},  // a lead byte at the end
        {"", 5, ""},
    };
    for (const Case& c : cases) EXPECT_EQ(cutGbk(c.text, c.max), c.expected) << c.max;
}

TEST(NameRules, AccountsAndNicksThatTheClientCanKeep) {
    struct Case {
        const char* utf8;
        bool account;
        bool nick;
    };
    const Case cases[] = {
        {"alice", true, true},
        {"小明", true, true},
        {"a.b-c_d", true, true},
        {"with space", false, true},
        {" lead", false, false},
        {"trail ", false, false},
        {"a[b", false, false},
        {"a]b", false, false},
        {"a=b", false, false},
        {"a;b", false, false},
        {"a/b", false, true},
        {"a:b", false, true},
        {"a$b", false, true},
        {"张三其验证信息", false, false},
        {"张三(庄主)", false, false},
        {"(庄主)张三", true, true},
        {"", false, false},
        {"abcdefghijklmnopqrstuvwx", true, true},     // 24 bytes
        {"abcdefghijklmnopqrstuvwxy", false, false},  // 25
        {"一二三四五六七八九十一二", true, true},     // 24 bytes in GBK
    };
    for (const Case& c : cases) {
        const Bytes name = g(c.utf8);
        EXPECT_EQ(!accountProblem(name), c.account) << c.utf8;
        EXPECT_EQ(!nickProblem(name), c.nick) << c.utf8;
    }
    EXPECT_TRUE(nickProblem(Bytes("a\tb", 3)));
    EXPECT_FALSE(gbkExactly("😀"));
    EXPECT_EQ(gbkExactly("问?"), g("问?"));
}

TEST(NameRules, HeadCodesAreTheTwentyPicturesTheClientHas) {
    for (const char* ok : {"m0", "m5", "m9", "w1", "w9", "w10"}) EXPECT_TRUE(isHeadCode(ok)) << ok;
    for (const char* bad : {"", "m", "w0", "w11", "w12", "m10", "x3", "M3", "m03", "w1 "})
        EXPECT_FALSE(isHeadCode(bad)) << bad;
}

TEST(Credentials, SealedDigestMatchesOnlyTheRightLogin) {
    const std::string digest = *passwordDigest("123456");
    const std::string sealed = sealDigest(digest);
    EXPECT_TRUE(digestMatches(sealed, digest));
    EXPECT_FALSE(digestMatches(sealed, *passwordDigest("123457")));
    EXPECT_FALSE(digestMatches(sealed, ""));
    EXPECT_EQ(sealed.find(digest), std::string::npos);
    EXPECT_NE(sealDigest(digest), sealed);  // a fresh salt each time
    for (const char* junk : {"", "s1$", "s1$salt", digest.c_str(), "s2$salt$abc"})
        EXPECT_FALSE(digestMatches(junk, digest));
}

TEST(VersionCodes, CodeIsFirstDigitTimes256PlusLastDigit) {
    EXPECT_EQ(versionCodeOf("1.0"), 256);
    EXPECT_EQ(versionCodeOf("2.3"), 2 * 256 + 3);
    for (const char* bad : {"", "1", "1.", "1.10", "a.b", "1,0"}) EXPECT_FALSE(versionCodeOf(bad)) << bad;
    EXPECT_EQ(versionTextOf(258), "1.2");
    const auto order = fieldsOf(updateOrder("1.2", 258, 256, "http://update/nq"));
    ASSERT_EQ(order.size(), 8u);
    EXPECT_EQ(order[0], "1.2");
    EXPECT_EQ(order[1], "258");
    EXPECT_EQ(order[2], "1.0");
    EXPECT_EQ(order[7], "http://update/nq");
}

}  // namespace
}  // namespace nq::server
