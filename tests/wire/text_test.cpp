#include <gtest/gtest.h>

#include "wire/digest.h"
#include "wire/fields.h"
#include "wire/gbk.h"
#include "wire/head_code.h"

namespace nq {
namespace {

using namespace std::string_literals;

TEST(Gbk, EveryDoubleByteCodeSurvivesATrip) {
    int mapped = 0;
    for (int lead = 0x81; lead <= 0xFE; ++lead) {
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            const Bytes code{static_cast<char>(lead), static_cast<char>(trail)};
            const std::string utf8 = gbk::toUtf8(code);
            if (utf8 == "?") continue;
            ++mapped;
            ASSERT_EQ(gbk::fromUtf8(utf8), code) << std::hex << lead << trail;
        }
    }
    EXPECT_EQ(mapped, 21791);
    EXPECT_EQ(gbk::fromUtf8("宋体"), "\xCB\xCE\xCC\xE5");
}

TEST(Gbk, WhatDoesNotConvertBecomesAQuestionMarkAndLengthCountsLeadBytesAsTwo) {
    struct Case {
        const char* utf8;
        Bytes gbk;
    } from[] = {{"a😀b", "a?b"}, {"€", "?"}, {"\xE4\xB8", "?"}, {"\xF0\x9F\x98", "?"}, {"\xC3", "?"}};
    for (const auto& c : from) EXPECT_EQ(gbk::fromUtf8(c.utf8), c.gbk) << c.utf8;
    EXPECT_EQ(gbk::toUtf8("\xFF\xFF\x61"), "?a");
    EXPECT_EQ(gbk::toUtf8("ab\x81"), "ab?");
    struct Length {
        Bytes text;
        int length;
    } lengths[] = {{"", 0}, {"\0"s, 1}, {"\x81", 2}, {"\x81\x05x", 3}, {gbk::fromUtf8("a宋b"), 4}};
    for (const auto& c : lengths) EXPECT_EQ(gbkLength(c.text), c.length) << c.text;
}

TEST(Fields, CutReadSplitAndJoinAgree) {
    Bytes body("alice\0\0tail"s);
    EXPECT_EQ(cutField(body), "alice");
    EXPECT_EQ(cutField(body), "");
    EXPECT_EQ(cutField(body), std::nullopt);
    EXPECT_EQ(body, "tail");
    const Bytes joined = joinFields({"a", "", "c"});
    EXPECT_EQ(joined, "a\0\0c\0"s);
    EXPECT_EQ(countNul(joined), 3);
    FieldReader r(joined);
    EXPECT_EQ(r.next(), "a");
    EXPECT_EQ(r.next(), "");
    EXPECT_EQ(r.next(), "c");
    EXPECT_EQ(r.next(), std::nullopt);
    EXPECT_EQ(splitAll(joined), (std::vector<std::string_view>{"a", "", "c", ""}));
}

TEST(Fields, NumbersReadLenientlyAndHeadCodesIndexPictures) {
    struct Case {
        const char* text;
        double value;
    } numbers[] = {{"12", 12}, {" 7", 7}, {"-3", -3},     {"12abc", 12},
                   {"abc", 0}, {"", 0},   {"2.25", 2.25}, {"+4", 4}};
    for (const auto& c : numbers) EXPECT_DOUBLE_EQ(toNumber(c.text), c.value) << c.text;
    struct Head {
        const char* code;
        int online, offline;
    } heads[] = {{"m0", 1, 21},   {"m9", 10, 30}, {"w1", 11, 31}, {"w10", 20, 40},
                 {"m12", 13, 33}, {"", 10, 30},   {"mx", 1, 21}};
    for (const auto& c : heads) {
        EXPECT_EQ(headOnlineIndex(c.code), c.online) << c.code;
        EXPECT_EQ(headOfflineIndex(c.code), c.offline) << c.code;
    }
}

TEST(Digest, Md5MatchesRfc1321AndPasswordsTakeOnlySingleBytes) {
    struct Case {
        std::string input;
        const char* hex;
    } cases[] = {{"", "d41d8cd98f00b204e9800998ecf8427e"},
                 {"abc", "900150983cd24fb0d6963f7d28e17f72"},
                 // Longer than one 64-byte block.
                 {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
                  "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& c : cases) EXPECT_EQ(Md5Hex(c.input), c.hex) << c.input;
    EXPECT_EQ(passwordDigest("abc"), Md5Hex("900150983cd24fb0d6963f7d28e17f72"));
    EXPECT_EQ(passwordDigest("a\x80"), std::nullopt);
    EXPECT_EQ(passwordDigest(gbk::fromUtf8("密码")), std::nullopt);
}

}  // namespace
}  // namespace nq
