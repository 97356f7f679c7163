// Frame bodies, name rules and sealed digests.

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

TEST(ProfileRecord, HasTwentyFiveFieldsAndFitsOneFrameWhateverIsStored) {
    Account a;
    a.name = "zhang";
    a.nick = g("张三");
    a.head = "m4";
    a.age = 70000;  // read as 16 bits by the client
    a.sex = 1;
    a.setting = -70000;
    a.address = g("很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址很长的地址");
    for (Bytes* t : {&a.signature, &a.email, &a.school, &a.work, &a.city, &a.realName})
        *t = std::string(180, 'y');
    const auto f = fieldsOf(profileRecord(a));
    ASSERT_EQ(f.size(), 25u);
    EXPECT_EQ(std::tie(f[0], f[4], f[5], f[7], f[8], f[23], f[24]),
              std::tie("zhang", a.nick, "m4", "32767", "1", "-32768", "0"));
    // The longest free texts gave way alike; a shorter one did not need to.
    for (int i : {6, 11, 12, 17, 18, 19}) {
        EXPECT_LT(f[i].size(), 180u) << i;
        EXPECT_GT(f[i].size(), 100u) << i;
    }
    EXPECT_EQ(f[13], a.address);
}

TEST(NameRules, AccountsAndNicksThatTheClientCanKeep) {
    const std::tuple<const char*, bool, bool> cases[] = {
        // name, fit for an account, fit for a nick
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
        {"a\tb", false, false},
        {"abcdefghijklmnopqrstuvwx", true, true},     // 24 bytes
        {"abcdefghijklmnopqrstuvwxy", false, false},  // 25
        {"一二三四五六七八九十一二", true, true},     // 24 bytes in GBK
    };
    for (const auto& [utf8, account, nick] : cases) {
        EXPECT_EQ(!accountProblem(g(utf8)), account) << utf8;
        EXPECT_EQ(!nickProblem(g(utf8)), nick) << utf8;
    }
    EXPECT_EQ(cutGbk(Bytes("ok\xB0", 3), 10), "ok");  // never a lead byte alone at the end
    EXPECT_EQ(cutGbk("a" + g("汉字"), 2), "a");
    for (const char* ok : {"m0", "m9", "w1", "w10"}) EXPECT_TRUE(isHeadCode(ok)) << ok;
    for (const char* bad : {"", "w0", "w11", "m10", "M3", "m03"}) EXPECT_FALSE(isHeadCode(bad)) << bad;
}

// Today's seal and the salted MD5 of earlier databases both match the right digest only; only
// today's is current. Anything but 32 lower-case hex digits is no digest a client sends.
TEST(Credentials, SealedDigestMatchesOnlyTheRightLogin) {
    const std::string digest = *passwordDigest("123456");
    const std::string sealed = sealDigest(digest);
    const std::string md5 = "s1$0123456789abcdef$" + Md5Hex("0123456789abcdef" + digest);
    EXPECT_EQ(sealed.find(digest), std::string::npos);
    EXPECT_NE(sealDigest(digest), sealed);  // a fresh salt each time
    for (const auto& [seal, current] : {std::pair{sealed, true}, std::pair{md5, false}}) {
        EXPECT_TRUE(digestMatches(seal, digest)) << seal;
        EXPECT_EQ(sealIsCurrent(seal), current) << seal;
        for (const std::string& wrong : {*passwordDigest("123457"), std::string()})
            EXPECT_FALSE(digestMatches(seal, wrong)) << seal;
    }
    for (const std::string& junk : {std::string(), std::string("s1$"), std::string("s1$salt"), digest,
                                    std::string("s2$salt$abc"), sealed.substr(0, sealed.size() - 1)})
        EXPECT_FALSE(digestMatches(junk, digest)) << junk;
    EXPECT_TRUE(wellFormedDigest(digest));
    for (const std::string& bad :
         {digest.substr(1), digest + "0", "A" + digest.substr(1), "g" + digest.substr(1)})
        EXPECT_FALSE(wellFormedDigest(bad)) << bad;
}

}  // namespace
}  // namespace nq::server
