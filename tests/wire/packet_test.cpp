#include <gtest/gtest.h>

#include <random>

#include "ring_model.h"
#include "wire/fields.h"
#include "wire/frame_kinds.h"
#include "wire/packet.h"

namespace nq {
namespace {

using namespace std::string_literals;

PacketHead record(FrameKind k, float code = 0) {
    PacketHead h;
    h.Type = k.type;
    h.Sub = k.sub;
    h.Code = code;
    return h;
}

// Sends one frame and returns exactly the bytes the tick would transmit for it.
Bytes sendOne(WireState& w, const PacketHead& h, std::string_view body) {
    SendPacket(w, h, body);
    return takeFromSendRing(w, static_cast<size_t>(gbkLength(body) + kHeaderSize));
}

// Raw bytes arriving in the receive ring at a chosen index.
void placeAt(WireState& w, int index, std::string_view bytes) {
    w.Buf_head = w.Buf_rear = index;
    storeDatagram(w, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

Bytes seq(const Bytes& frame) {
    return frame.substr(0, 2);
}

TEST(SendPacket, FramesByteForByte) {
    WireState w;
    w.sessionId = 0x01020304;
    EXPECT_EQ(sendOne(w, record(kind::kFriendRoster), ""), "\0\1\0\26\0\3\0\4\0\0\0\0\0\0\0\0\1\2\3\4\0\0"s);
    EXPECT_FALSE(w.sendQueueFree);
    EXPECT_TRUE(w.sendPending);

    // Len counts GBK bytes; a lead byte whose trail is below 0x10 stores nothing of the pair,
    // and a lead byte at the very end counts two, the missing byte sent as zero.
    struct Case {
        Bytes body, stored;
    } cases[] = {
        {gbk::fromUtf8("中"), gbk::fromUtf8("中")},
        {"\x81\x05\x41"s, "A\0\0"s},
        {"ab\x81"s, "ab\x81\0"s},
        {"1234567\x81\x05"s + "89"s, "123456789\0\0"s},  // the pair at the end of an 8-byte block
    };
    for (const auto& c : cases) {
        w.sendRing.fill(0xEE);  // old bytes where the frame goes: padding must overwrite them
        const Bytes f = sendOne(w, record(kind::kFriendRoster), c.body);
        EXPECT_EQ(f[3], static_cast<char>(f.size()));
        EXPECT_EQ(f.substr(22), c.stored);
    }
    const Bytes login = sendOne(w, record({1, 1}, static_cast<float>(versionCode("1.0"))), "");
    EXPECT_EQ(login.substr(20, 2), "\1\0"s);
    EXPECT_EQ(versionCode("2.3"), 2 * 256 + 3);
}

TEST(SendPacket, StampReplacesSessionOnlyWhenBothAreSet) {
    WireState w;
    w.sessionId = 77;
    w.useStamp = true;
    EXPECT_EQ(sendOne(w, record({2, 2}), "").substr(16, 4), "\0\0\0\x4d"s);
    EXPECT_TRUE(w.useStamp) << "a missing stamp keeps the request for the next frame";
    w.replyStamp = 300;
    EXPECT_EQ(sendOne(w, record({2, 2}), "").substr(16, 4), "\0\0\1\x2c"s);
    EXPECT_FALSE(w.useStamp);
    EXPECT_EQ(sendOne(w, record({2, 1}), "").substr(16, 4), "\0\0\0\x4d"s);
}

TEST(Sequence, WrapsAt6000AndFollowsTheServer) {
    WireState w;
    w.seqCounter = 5998;
    EXPECT_EQ(seq(sendOne(w, record(kind::kKeepAlive), "")), "\x17\x6f"s);  // 5999
    EXPECT_EQ(seq(sendOne(w, record(kind::kKeepAlive), "")), "\0\1"s);
    EXPECT_EQ(w.seqCounter, 6000) << "the counter itself is not wrapped";
    // An incoming number above the last one sent sets the counter; a lower one does not.
    placeAt(w, 0, encodeFrame({.seq = 40, .type = 9}, ""));
    ParsePacket(w);
    EXPECT_EQ(seq(sendOne(w, record(kind::kKeepAlive), "")), "\0\x29"s);
    placeAt(w, 100, encodeFrame({.seq = 3, .type = 9}, ""));
    ParsePacket(w);
    EXPECT_EQ(seq(sendOne(w, record(kind::kKeepAlive), "")), "\0\x2a"s);

    w.seqCounter = 9;
    w.sessionId = 5;
    const int32_t sendWrite = w.sendWrite;
    EXPECT_EQ(buildKeepAlive(w, "bob"), "\0\x0a\0\x1a\0\x09\0\0\0\0\0\0\0\0\0\0\0\0\0\5\0\0bob\0"s);
    EXPECT_EQ(w.sendWrite, sendWrite) << "the keep-alive bypasses the send ring";
}

TEST(ParsePacket, ReadsHeaderAndBodyWhereverTheFrameLies) {
    const Bytes names = joinFields({"carol", gbk::fromUtf8("爱丽丝")});
    struct Case {
        const char* what;
        int at;
        Bytes body;
        int headAfter;  // -1: where the writer stopped
    } cases[] = {
        {"at the start", 0, names, -1},
        {"header across the ring's end", kRingSize - 10, names, -1},
        {"character across the ring's end", kRingSize - 25, "ab" + gbk::fromUtf8("中文") + "\0"s, -1},
        {"ending at the ring's end", kRingSize - 52, Bytes(30, 'z'), 0},
        {"header only, in the last 22 bytes", kRingSize - 22, "", 0},
        {"trail byte below 0x10", 7, "\x81\x05\x41"s, -1},
        {"the largest, 1021 bytes", 50, Bytes(999, 'x'), -1}};
    for (const auto& c : cases) {
        WireState w;
        placeAt(w, c.at,
                encodeFrame({.seq = 12, .type = 1, .sub = 4, .session = 0xFEDCBA98, .code = 2}, c.body));
        ParsePacket(w);
        EXPECT_EQ(std::tuple(w.msgBody, w.Buf_head, w.head.Len, w.head.Session, w.recvPending),
                  std::tuple(c.body, c.headAfter < 0 ? w.Buf_rear : c.headAfter,
                             22 + static_cast<int>(c.body.size()), 4275878552.0, false))
            << c.what;
        EXPECT_TRUE(w.head.Seq == 12 && w.head.Type == 1 && w.head.Sub == 4 && w.head.Code == 2) << c.what;
    }
}

TEST(ParsePacket, RefusedLengthsAndOverflowingFieldsKeepThePreviousRecord) {
    WireState w;
    placeAt(w, 0, encodeFrame({.seq = 33, .type = 8}, "ab"));
    ParsePacket(w);
    // Seq and Len of 0x8000 and up do not fit: the old length frames the new bytes.
    Bytes odd = encodeFrame({.seq = 0x8001, .type = 9}, "cd");
    odd[2] = '\x80';
    placeAt(w, 200, odd);
    ParsePacket(w);
    EXPECT_EQ(w.head.Seq, 33);
    EXPECT_EQ(w.msgBody, "cd");
    // 1022 bytes poison the ring: both indices to 0, the rest of the record and the body stay.
    placeAt(w, 3000, encodeFrame({.seq = 2, .type = 3}, Bytes(1000, 'y')));
    ParsePacket(w);
    EXPECT_EQ(std::tuple(w.Buf_head, w.Buf_rear, w.head.Len, w.head.Type, w.msgBody),
              std::tuple(0, 0, 1022, 9.0f, "cd"));
}

// The copying fast paths against the byte-at-a-time model, where they split runs.
TEST(Rings, FastPathsAgreeWithTheByteModel) {
    struct Case {
        const char* what;
        int at;          // Buf_head and Buf_rear before, and sendRead and sendWrite
        Bytes incoming;  // stored, then parsed once
        Bytes sent;      // sent, then taken from the send ring
    } cases[] = {
        {"frame ends in a lone lead byte", 100,
         encodeFrame({.type = kind::kNoticeToast.type, .sub = kind::kNoticeToast.sub}, "ab\x81"), "ab\x81"},
        {"lone lead byte two before the end", kRingSize - 27,
         encodeFrame({.type = kind::kNoticeToast.type, .sub = kind::kNoticeToast.sub}, "ab\x81"), ""},
        {"lone lead byte one before the end", kRingSize - 26,
         encodeFrame({.type = kind::kNoticeToast.type, .sub = kind::kNoticeToast.sub}, "ab\x81"), "ab\x81"},
        {"even run of lead bytes", 9,
         encodeFrame({.type = kind::kNoticeToast.type, .sub = kind::kNoticeToast.sub}, "z\x81\x81\x81\x81"),
         "\x81\x81\x05z"},
        {"datagram laps the reader", 40, Bytes(kRingSize + 10, 'q'), ""},
        {"datagram fills the ring", kRingSize - 10, Bytes(kRingSize, 'r'), ""},
        {"send ring wraps", kRingSize - 5, "", "hello\x81\x04"s + "12345678"}};
    std::mt19937 rng(3);
    for (const auto& c : cases) {
        WireState real;
        for (auto* ring : {&real.recvRing, &real.sendRing})
            for (auto& b : *ring) b = static_cast<uint8_t>(rng() | 0x80);  // old bytes, all lead bytes
        real.Buf_head = real.Buf_rear = real.sendRead = real.sendWrite = c.at;
        WireState model = real;
        const auto* in = reinterpret_cast<const uint8_t*>(c.incoming.data());
        storeDatagram(real, in, c.incoming.size());
        model::storeDatagram(model, in, c.incoming.size());
        EXPECT_STREQ(model::firstDifference(real, model), "") << c.what << ", stored";
        ParsePacket(real);
        model::ParsePacket(model);
        SendPacket(real, record({2, 1}), c.sent);
        model::SendPacket(model, record({2, 1}), c.sent);
        EXPECT_EQ(takeFromSendRing(real, 60), model::takeFromSendRing(model, 60)) << c.what;
        EXPECT_STREQ(model::firstDifference(real, model), "") << c.what;
    }
}

TEST(PlainCodec, RoundTripAndRejection) {
    const Bytes body = joinFields({"a", "b"});
    const Bytes f = encodeFrame({.seq = 7, .type = 2, .sub = 1, .session = 99, .code = 3}, body);
    auto d = decodeFrame(f);
    ASSERT_TRUE(d);
    EXPECT_TRUE(d->header.seq == 7 && d->header.type == 2 && d->header.sub == 1 && d->header.session == 99 &&
                d->header.code == 3 && d->body == body);
    EXPECT_FALSE(decodeFrame(f.substr(0, 21)));
    EXPECT_FALSE(decodeFrame(f.substr(0, f.size() - 1))) << "Len promises more than arrived";
    Bytes shortLen = f;
    shortLen[3] = 10;
    EXPECT_FALSE(decodeFrame(shortLen));
}

}  // namespace
}  // namespace nq
