#include <gtest/gtest.h>

#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/gbk.h"
#include "wire/head_code.h"

namespace nq {
namespace {

TEST(Gbk, RoundTripsChineseAndCountsProtocolLength) {
    const Bytes g = gbk::fromUtf8("宋体聊天");
    EXPECT_EQ(g.size(), 8u);
    EXPECT_EQ(g.substr(0, 2), "\xCB\xCE");
    EXPECT_EQ(gbk::toUtf8(g), "宋体聊天");
    EXPECT_EQ(gbkLength(gbk::fromUtf8("a宋b")), 4);
}

TEST(Gbk, EveryDoubleByteCodeSurvivesATrip) {
    int mapped = 0;
    for (int lead = 0x81; lead <= 0xFE; ++lead) {
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            if (trail == 0x7F) continue;
            const Bytes code{static_cast<char>(lead), static_cast<char>(trail)};
            const std::string utf8 = gbk::toUtf8(code);
            if (utf8 == "?") continue;
            ++mapped;
            ASSERT_EQ(gbk::fromUtf8(utf8), code) << std::hex << lead << trail;
        }
    }
    EXPECT_EQ(mapped, 21791);
}

TEST(Gbk, CharactersOutsideGbkBecomeQuestionMarks) {
    EXPECT_EQ(gbk::fromUtf8("a😀b"), "a?b");
    EXPECT_EQ(gbk::fromUtf8("€"), "?");
    EXPECT_EQ(gbk::fromUtf8("\xE4\xB8"), "?");  // cut UTF-8 sequence
    EXPECT_EQ(gbk::toUtf8("\xFF\xFF"
                          "a"),
              "?a");
    EXPECT_EQ(gbk::toUtf8("ab\x81"), "ab?");
}

TEST(Gbk, LengthTreatsALoneLeadByteAsTwo) {
    EXPECT_EQ(gbkLength(""), 0);
    EXPECT_EQ(gbkLength(std::string_view("\0", 1)), 1);
    EXPECT_EQ(gbkLength("\x81"), 2);
    EXPECT_EQ(gbkLength("\x81\x05x"), 3);
}

TEST(Fields, CutTakesOneFieldAndLeavesTheRest) {
    Bytes body("alice\0bob\0tail", 14);
    EXPECT_EQ(cutField(body), "alice");
    EXPECT_EQ(cutField(body), "bob");
    EXPECT_EQ(cutField(body), std::nullopt);
    EXPECT_EQ(body, "tail");
    Bytes empty("\0\0", 2);
    EXPECT_EQ(cutField(empty), "");
    EXPECT_EQ(cutField(empty), "");
    EXPECT_EQ(cutField(empty), std::nullopt);
}

TEST(Fields, ReaderSplitAndJoinAgree) {
    const Bytes body = joinFields({"a", "", "c"});
    EXPECT_EQ(body, Bytes("a\0\0c\0", 5));
    EXPECT_EQ(countNul(body), 3);
    FieldReader r(body);
    EXPECT_EQ(r.next(), "a");
    EXPECT_EQ(r.next(), "");
    EXPECT_EQ(r.next(), "c");
    EXPECT_EQ(r.next(), std::nullopt);
    const auto all = splitAll(body);
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all.back(), "");
}

TEST(Fields, JunkNumbersReadAsZero) {
    struct Case {
        const char* text;
        double value;
    } cases[] = {{"12", 12}, {" 7", 7}, {"-3", -3},   {"12abc", 12},
                 {"abc", 0}, {"", 0},   {"2.5", 2.5}, {"+4", 4}};
    for (const auto& c : cases) EXPECT_DOUBLE_EQ(toNumber(c.text), c.value) << c.text;
}

TEST(Digest, Md5MatchesTheReferenceVectors) {
    // RFC 1321's suite, then lengths either side of where padding spills into a second block.
    struct Case {
        std::string input;
        const char* hex;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(55, 'a'), "ef1772b6dff9a122358552954ad0df65"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(57, 'a'), "652b906d60af96844ebd21b674f35e93"},
        {std::string(63, 'a'), "b06521f39153d618550606be297466d5"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
        {std::string(65, 'a'), "c743a45e0d2e6a95cb859adae0248435"},
        {std::string(119, 'a'), "8a7bd0732ed6a28ce75f6dabc90e1613"},
        {std::string(120, 'a'), "5f61c0ccad4cac44c75ff505e1f1e537"},
        {std::string(128, 'a'), "e510683b3f5ffe4093d021808bc6ff70"},
        {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
    };
    for (const auto& c : cases) EXPECT_EQ(Md5Hex(c.input), c.hex) << c.input.size() << " bytes";

    std::string allBytes;
    for (int i = 0; i < 256; ++i) allBytes += static_cast<char>(i);
    EXPECT_EQ(Md5Hex(allBytes), "e2c865db4162bed963bfaa9ef6ac18f0");
}

TEST(Digest, PasswordDigestIsTheDoubleMd5OfSingleBytes) {
    EXPECT_EQ(passwordDigest("abc"), Md5Hex("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ(passwordDigest(""), Md5Hex("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(passwordDigest(gbk::fromUtf8("密码")), std::nullopt);
}

TEST(HeadCode, OnlineAndOfflineIndices) {
    struct Case {
        const char* code;
        int online;
        int offline;
    } cases[] = {
        {"m0", 1, 21},   {"m3", 4, 24},  {"m9", 10, 30}, {"w1", 11, 31}, {"w10", 20, 40},
        {"m12", 13, 33}, {"w5", 15, 35}, {"", 10, 30},   {"m", 1, 21},   {"mx", 1, 21},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(headOnlineIndex(c.code), c.online) << c.code;
        EXPECT_EQ(headOfflineIndex(c.code), c.offline) << c.code;
    }
}

}  // namespace
}  // namespace nq
