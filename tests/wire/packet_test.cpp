#include <gtest/gtest.h>

#include <cstring>

#include "wire/fields.h"
#include "wire/packet.h"

namespace nq {
namespace {

PacketHead kind(float type, float sub, float code = 0) {
    PacketHead h;
    h.Type = type;
    h.Sub = sub;
    h.Code = code;
    return h;
}

Bytes hexBytes(std::initializer_list<int> bytes) {
    Bytes out;
    for (int b : bytes) out.push_back(static_cast<char>(b));
    return out;
}

// Sends one frame and returns exactly the bytes the tick would transmit for it.
Bytes sendOne(WireState& w, const PacketHead& h, std::string_view body) {
    SendPacket(w, h, body);
    return takeFromSendRing(w, static_cast<size_t>(gbkLength(body) + kHeaderSize));
}

// Places raw frame bytes in the receive ring at a chosen index, as if they had arrived there.
void placeAt(WireState& w, int index, std::string_view bytes) {
    w.Buf_head = index;
    w.Buf_rear = index;
    storeDatagram(w, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

TEST(SendPacket, EmptyBodyIsTheBareHeader) {
    WireState w;
    w.sessionId = 0x01020304;
    const Bytes frame = sendOne(w, kind(3, 4, 0), "");
    EXPECT_EQ(frame, hexBytes({0, 1, 0, 22, 0, 3, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 0, 0}));
    EXPECT_FALSE(w.sendQueueFree);
    EXPECT_TRUE(w.sendPending);
    EXPECT_EQ(w.sendIdle, 0);
}

TEST(SendPacket, LengthCountsGbkBytes) {
    WireState w;
    const Bytes body = gbk::fromUtf8("中");
    const Bytes frame = sendOne(w, kind(2, 1), body);
    ASSERT_EQ(frame.size(), 24u);
    EXPECT_EQ(frame.substr(2, 2), hexBytes({0, 24}));
    EXPECT_EQ(frame.substr(22), body);
}

TEST(SendPacket, LoginFrameCarriesVersionAndZeroSession) {
    WireState w;
    w.sessionId = 0;
    const Bytes body = joinFields({"alice", "0123456789abcdef0123456789abcdef"});
    const Bytes frame = sendOne(w, kind(1, 1, static_cast<float>(versionCode("1.0"))), body);
    EXPECT_EQ(frame.substr(16, 6), hexBytes({0, 0, 0, 0, 1, 0}));
    EXPECT_EQ(frame.substr(22), body);
    EXPECT_EQ(versionCode("2.3"), 2 * 256 + 3);
}

TEST(SendPacket, ACharacterWithAThreeDigitValueStoresNothing) {
    // A lead byte followed by a trail below 0x10 formed a three-hex-digit value, which the
    // builder skipped while the length still counted it: the frame ends in zero padding.
    WireState w;
    const Bytes frame = sendOne(w, kind(2, 1),
                                Bytes("\x81\x05"
                                      "A",
                                      3));
    ASSERT_EQ(frame.size(), 25u);
    EXPECT_EQ(frame.substr(22), Bytes("A\0\0", 3));
}

TEST(SendPacket, StampReplacesSessionOnlyWhenBothAreSet) {
    WireState w;
    w.sessionId = 77;
    w.useStamp = true;
    w.replyStamp = 0;
    EXPECT_EQ(sendOne(w, kind(2, 2), "").substr(16, 4), hexBytes({0, 0, 0, 77}));
    EXPECT_TRUE(w.useStamp) << "a missing stamp keeps the request for the next frame";

    w.replyStamp = 300;
    EXPECT_EQ(sendOne(w, kind(2, 2), "").substr(16, 4), hexBytes({0, 0, 1, 44}));
    EXPECT_FALSE(w.useStamp);
    EXPECT_EQ(sendOne(w, kind(2, 1), "").substr(16, 4), hexBytes({0, 0, 0, 77}));
}

TEST(Sequence, CounterIsNotWrappedAndFollowsTheServer) {
    WireState w;
    w.seqCounter = 5998;
    EXPECT_EQ(sendOne(w, kind(9, 0), "").substr(0, 2), hexBytes({0x17, 0x6F}));  // 5999
    EXPECT_EQ(sendOne(w, kind(9, 0), "").substr(0, 2), hexBytes({0, 1}));
    EXPECT_EQ(sendOne(w, kind(9, 0), "").substr(0, 2), hexBytes({0, 1}));
    EXPECT_EQ(w.seqCounter, 6001);

    // An incoming frame numbered 40 sets the counter, since 40 is above the last sent (1).
    placeAt(w, 0, encodeFrame({.seq = 40, .type = 9}, ""));
    ParsePacket(w);
    EXPECT_EQ(sendOne(w, kind(9, 0), "").substr(0, 2), hexBytes({0, 41}));

    // A lower incoming number does not pull the counter below the last number sent.
    placeAt(w, 100, encodeFrame({.seq = 3, .type = 9}, ""));
    ParsePacket(w);
    EXPECT_EQ(sendOne(w, kind(9, 0), "").substr(0, 2), hexBytes({0, 42}));
}

TEST(Sequence, KeepAliveIsNumberedLikeAnyFrame) {
    WireState w;
    w.seqCounter = 9;
    w.sessionId = 5;
    const Bytes frame = buildKeepAlive(w, "bob");
    EXPECT_EQ(frame, hexBytes({0, 10, 0, 26, 0, 9, 0, 0, 0, 0,   0,   0,   0,
                               0, 0,  0, 0,  0, 0, 5, 0, 0, 'b', 'o', 'b', 0}));
    EXPECT_FALSE(w.sendPending) << "the keep-alive bypasses the send ring";
}

TEST(ParsePacket, ReadsHeaderAndBody) {
    WireState w;
    const Bytes body = joinFields({"alice", gbk::fromUtf8("爱丽丝")});
    placeAt(w, 0, encodeFrame({.seq = 12, .type = 1, .sub = 1, .session = 0xFEDCBA98, .code = 1}, body));
    ParsePacket(w);
    EXPECT_EQ(w.head.Seq, 12);
    EXPECT_EQ(w.head.Len, 22 + static_cast<int>(body.size()));
    EXPECT_EQ(w.head.Type, 1.0f);
    EXPECT_EQ(w.head.Sub, 1.0f);
    EXPECT_EQ(w.head.Code, 1.0f);
    EXPECT_EQ(w.head.Session, 4275878552.0);
    EXPECT_EQ(w.msgBody, body);
    EXPECT_EQ(w.Buf_head, w.Buf_rear);
    EXPECT_FALSE(w.recvPending);
}

TEST(ParsePacket, LengthLimitIs1021) {
    WireState w;
    const Bytes largest = encodeFrame({.seq = 1, .type = 8, .sub = 1}, Bytes(999, 'x'));
    placeAt(w, 50, largest);
    ParsePacket(w);
    EXPECT_EQ(w.head.Len, 1021);
    EXPECT_EQ(w.msgBody.size(), 999u);

    // A 1022-byte frame poisons the ring: both indices to 0, the record keeps the rest of the
    // previous frame, and the body of the previous frame stays for a second dispatch.
    w.head.Type = 8;
    const Bytes tooLong = encodeFrame({.seq = 2, .type = 3, .sub = 4}, Bytes(1000, 'y'));
    placeAt(w, 3000, tooLong);
    ParsePacket(w);
    EXPECT_EQ(w.Buf_head, 0);
    EXPECT_EQ(w.Buf_rear, 0);
    EXPECT_EQ(w.head.Len, 1022);
    EXPECT_EQ(w.head.Seq, 2);
    EXPECT_EQ(w.head.Type, 8.0f);
    EXPECT_EQ(w.msgBody.size(), 999u);
}

TEST(ParsePacket, SignedOverflowKeepsPreviousSeqAndLen) {
    WireState w;
    placeAt(w, 0, encodeFrame({.seq = 33, .type = 9}, "ab"));
    ParsePacket(w);
    ASSERT_EQ(w.head.Len, 24);
    Bytes odd = encodeFrame({.seq = 0x8001, .type = 9}, "ab");
    odd[2] = static_cast<char>(0x80);  // Len 0x8018 does not fit either
    placeAt(w, 200, odd);
    ParsePacket(w);
    EXPECT_EQ(w.head.Seq, 33);
    EXPECT_EQ(w.head.Len, 24) << "the old length frames the new bytes";
    EXPECT_EQ(w.msgBody, "ab");
}

TEST(ParsePacket, FrameWhoseHeaderCrossesTheRingEnd) {
    WireState w;
    const Bytes body = joinFields({"carol", "x"});
    placeAt(w, kRingSize - 10, encodeFrame({.seq = 5, .type = 1, .sub = 4, .code = 2}, body));
    ParsePacket(w);
    EXPECT_EQ(w.head.Type, 1.0f);
    EXPECT_EQ(w.head.Sub, 4.0f);
    EXPECT_EQ(w.head.Code, 2.0f);
    EXPECT_EQ(w.msgBody, body);
    EXPECT_EQ(w.Buf_head, w.Buf_rear);
}

TEST(ParsePacket, TwoByteCharacterStraddlesTheRingEnd) {
    WireState w;
    const Bytes body = "ab" + gbk::fromUtf8("中文") + Bytes("\0", 1);
    // The header ends at 65405, so "ab" fills 65405-65406 and 中 sits on 65407 and 0.
    placeAt(w, kRingSize - 25, encodeFrame({.seq = 5, .type = 2, .sub = 1}, body));
    ParsePacket(w);
    EXPECT_EQ(w.msgBody, body);
    EXPECT_EQ(w.Buf_head, w.Buf_rear);
}

TEST(ParsePacket, FrameEndingExactlyAtTheRingEndIsClosedThere) {
    WireState w;
    const Bytes body(30, 'z');
    placeAt(w, kRingSize - 52, encodeFrame({.seq = 5, .type = 8, .sub = 2}, body));
    ParsePacket(w);
    EXPECT_EQ(w.msgBody, body);
    EXPECT_EQ(w.Buf_head, 0);
}

TEST(ParsePacket, HeaderOnlyFrameInTheLastBytesHasNoBody) {
    // An empty frame whose header fills the ring's last 22 bytes ends where its header ends;
    // it must not read the whole ring round as its body.
    WireState w;
    placeAt(w, kRingSize - 22, encodeFrame({.seq = 5, .type = 9}, ""));
    ParsePacket(w);
    EXPECT_EQ(w.head.Type, 9.0f);
    EXPECT_TRUE(w.msgBody.empty());
    EXPECT_EQ(w.Buf_head, 0);
}

TEST(ParsePacket, TrailByteBelow0x10IsPartOfTheCharacter) {
    WireState w;
    placeAt(w, 0,
            encodeFrame({.seq = 1, .type = 8, .sub = 2}, Bytes("\x81\x05"
                                                               "A",
                                                               3)));
    ParsePacket(w);
    EXPECT_EQ(w.msgBody, Bytes("\x81\x05"
                               "A",
                               3));
}

TEST(ParsePacket, OneDatagramWithTwoFramesParsesOneAtATime) {
    WireState w;
    Bytes datagram;
    encodeFrame({.seq = 1, .type = 5, .sub = 2, .code = 1}, joinFields({"me", "bob"}), datagram);
    encodeFrame({.seq = 2, .type = 6, .sub = 1, .code = 1}, joinFields({"me", "bob"}), datagram);
    placeAt(w, 0, datagram);
    ParsePacket(w);
    EXPECT_EQ(w.head.Type, 5.0f);
    EXPECT_NE(w.Buf_head, w.Buf_rear);
    ParsePacket(w);
    EXPECT_EQ(w.head.Type, 6.0f);
    EXPECT_EQ(w.Buf_head, w.Buf_rear);
}

TEST(Rings, BlacklistMoveSendsBothFramesInOneTransmission) {
    // The sender queues (5,2) then (6,1) and pads sendBody with a 22-character stand-in for the
    // second header, so that one pull of gbkLength(sendBody) + 22 bytes covers both frames.
    WireState w;
    const Bytes first = joinFields({"me", "bob"});
    const Bytes second = joinFields({"me", gbk::fromUtf8("鲍勃")});
    SendPacket(w, kind(5, 2), first);
    SendPacket(w, kind(6, 1), second);
    const Bytes sendBody = Bytes(22, 'a') + second + first;
    const Bytes datagram = takeFromSendRing(w, static_cast<size_t>(gbkLength(sendBody) + kHeaderSize));
    auto f1 = decodeFrame(datagram);
    ASSERT_TRUE(f1);
    auto f2 = decodeFrame(std::string_view(datagram).substr(f1->len));
    ASSERT_TRUE(f2);
    EXPECT_EQ(f1->header.type, 5);
    EXPECT_EQ(f2->header.type, 6);
    EXPECT_EQ(f2->header.seq, f1->header.seq + 1);
    EXPECT_EQ(f1->len + f2->len, datagram.size());
}

TEST(Rings, SendRingWrapsAround) {
    WireState w;
    w.sendWrite = kRingSize - 5;
    w.sendRead = kRingSize - 5;
    const Bytes frame = sendOne(w, kind(2, 1), "hello");
    EXPECT_EQ(frame.substr(22), "hello");
    EXPECT_EQ(w.sendRead, w.sendWrite);
    EXPECT_EQ(w.sendWrite, 22);
}

TEST(Rings, OverflowDropsEverythingUnread) {
    WireState w;
    const Bytes big(kRingSize - 1, 'q');
    storeDatagram(w, reinterpret_cast<const uint8_t*>(big.data()), big.size());
    EXPECT_EQ(w.Buf_rear, kRingSize - 1);
    const Bytes more(3, 'r');
    storeDatagram(w, reinterpret_cast<const uint8_t*>(more.data()), more.size());
    // The first byte filled the ring and reset both indices; the other two landed at 0 and 1.
    EXPECT_EQ(w.Buf_head, 0);
    EXPECT_EQ(w.Buf_rear, 2);
    EXPECT_EQ(w.recvRing[0], 'r');
    EXPECT_TRUE(w.recvPending);
}

TEST(Rings, RandomBytesNeverHangTheParser) {
    WireState w;
    uint32_t x = 12345;
    for (auto& b : w.recvRing) {
        x = x * 1664525 + 1013904223;
        b = static_cast<uint8_t>(x >> 24);
    }
    for (int i = 0; i < 5000; ++i) {
        x = x * 1664525 + 1013904223;
        w.Buf_head = static_cast<int32_t>(x % kRingSize);
        ParsePacket(w);
        ASSERT_GE(w.Buf_head, 0);
        ASSERT_LT(w.Buf_head, kRingSize);
        ASSERT_LE(w.msgBody.size(), static_cast<size_t>(kRingSize + 1));
    }
}

TEST(PlainCodec, RoundTripAndRejection) {
    const Bytes body = joinFields({"a", "b"});
    const Bytes f = encodeFrame({.seq = 7, .type = 2, .sub = 1, .session = 99, .code = 3}, body);
    auto d = decodeFrame(f);
    ASSERT_TRUE(d);
    EXPECT_EQ(d->header.seq, 7);
    EXPECT_EQ(d->header.session, 99u);
    EXPECT_EQ(d->header.code, 3);
    EXPECT_EQ(d->body, body);
    EXPECT_FALSE(decodeFrame(f.substr(0, 21)));
    EXPECT_FALSE(decodeFrame(f.substr(0, f.size() - 1))) << "Len promises more than arrived";
    Bytes shortLen = f;
    shortLen[3] = 10;
    EXPECT_FALSE(decodeFrame(shortLen));
}

}  // namespace
}  // namespace nq
