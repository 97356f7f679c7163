#pragma once
// The ring codec of wire/packet.h written the plain way: one byte at a time, every index taken
// modulo the ring's size, every character stepped over on its own. The codec copies in runs
// and scans eight bytes at a time; on the same state and input both must leave the same
// rings, indices, record and body. Shared by the differential fuzzer and the wire tests.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "wire/packet.h"

namespace nq::model {

inline void storeDatagram(WireState& w, const uint8_t* data, size_t size) {
    w.frameTaken = false;
    for (size_t i = 0; i < size; ++i) {
        w.recvRing[w.Buf_rear] = data[i];
        w.Buf_rear = (w.Buf_rear + 1) % kRingSize;
        if (w.Buf_rear == w.Buf_head) w.Buf_head = w.Buf_rear = 0;  // full: drop what is unread
    }
    w.recvPending = true;
}

inline Bytes takeFromSendRing(WireState& w, size_t size) {
    Bytes out;
    for (size_t i = 0; i < size; ++i) {
        out.push_back(static_cast<char>(w.sendRing[w.sendRead]));
        w.sendRead = (w.sendRead + 1) % kRingSize;
    }
    return out;
}

// One character at Buf_head into msgBody; true when the step carried Buf_head across the end.
inline bool stepCharacter(WireState& w) {
    const uint8_t b = w.recvRing[w.Buf_head];
    w.msgBody.push_back(static_cast<char>(b));
    if (b < 0x80) {
        w.Buf_head = (w.Buf_head + 1) % kRingSize;
        return w.Buf_head == 0;
    }
    w.msgBody.push_back(static_cast<char>(w.recvRing[(w.Buf_head + 1) % kRingSize]));
    w.Buf_head = (w.Buf_head + 2) % kRingSize;
    return w.Buf_head <= 1;
}

inline void ParsePacket(WireState& w) {
    const int h = w.Buf_head;
    auto at = [&](int off) -> int { return w.recvRing[(h + off) % kRingSize]; };
    if (at(0) < 0x80) w.head.Seq = static_cast<int16_t>(at(0) * 256 + at(1));
    w.seqCounter = w.head.Seq;
    if (w.seqCounter < w.seqLast) w.seqCounter = w.seqLast;
    if (at(2) < 0x80) w.head.Len = static_cast<int16_t>(at(2) * 256 + at(3));
    if (w.head.Len > kMaxFrame) {
        w.Buf_head = w.Buf_rear = 0;
        return;
    }
    w.head.Type = static_cast<float>(at(4) * 256 + at(5));
    w.head.Sub = static_cast<float>(at(6) * 256 + at(7));
    w.head.Param3 = static_cast<float>(at(8) * 256 + at(9));
    w.head.Param4 = static_cast<float>(at(10) * 256 + at(11));
    w.head.Session = at(16) * 16777216.0 + at(17) * 65536.0 + at(18) * 256.0 + at(19);
    w.head.Code = static_cast<float>(at(20) * 256 + at(21));

    w.msgBody.clear();
    const int end = h + w.head.Len;
    w.Buf_head = (h + kHeaderSize) % kRingSize;
    if (end > kRingSize) {
        // The body runs over the ring's end: walk to the end, then on to end's place past 0.
        int stop = (h + kHeaderSize > kRingSize - 1) ? end % kRingSize : 0;
        while (w.Buf_head <= (stop + kRingSize - 1) % kRingSize) {
            if (stepCharacter(w)) stop = end % kRingSize;
        }
    } else if (h + kHeaderSize < kRingSize) {
        while (w.Buf_head < end) {
            if (stepCharacter(w)) break;
        }
    }
    if (!w.frameTaken) w.recvPending = false;
}

inline void SendPacket(WireState& w, const PacketHead& record, std::string_view body) {
    w.sendQueueFree = false;
    // Stored body: a lead byte takes its trail along, a trail below 0x10 drops the pair, a
    // lead byte at the very end stands alone; the length counts two for every lead byte.
    Bytes stored;
    int length = 0;
    for (size_t i = 0; i < body.size();) {
        const auto b = static_cast<uint8_t>(body[i]);
        if (b < 0x80) {
            stored.push_back(static_cast<char>(b));
            length += 1;
            i += 1;
            continue;
        }
        length += 2;
        if (i + 1 == body.size()) {
            stored.push_back(static_cast<char>(b));
        } else if (static_cast<uint8_t>(body[i + 1]) >= 0x10) {
            stored.append(body.substr(i, 2));
        }
        i += 2;
    }
    stored.resize(static_cast<size_t>(length), '\0');

    if (w.seqCounter < INT16_MAX) ++w.seqCounter;
    w.seqLast = w.seqCounter >= kSeqWrap ? 1 : w.seqCounter;
    uint8_t p[kHeaderSize] = {};
    auto put16 = [&](int off, long v) {
        p[off] = static_cast<uint8_t>((v >> 8) & 0xFF);
        p[off + 1] = static_cast<uint8_t>(v & 0xFF);
    };
    auto put32 = [&](int off, uint32_t v) {
        put16(off, v >> 16);
        put16(off + 2, v & 0xFFFF);
    };
    put16(0, w.seqLast);
    put16(2, length + kHeaderSize);
    put16(4, std::lrint(record.Type));
    put16(6, std::lrint(record.Sub));
    put16(8, std::lrint(record.Param3));
    put16(10, std::lrint(record.Param4));
    if (w.useStamp && w.replyStamp != 0) {
        put32(16, static_cast<uint32_t>(static_cast<int32_t>(w.replyStamp)));
        w.useStamp = false;
    } else {
        const double s = w.sessionId;
        put32(16, (s >= 0 && s <= 4294967295.0) ? static_cast<uint32_t>(s) : 0);
    }
    put16(20, std::lrint(record.Code));

    const Bytes frame = Bytes(reinterpret_cast<const char*>(p), kHeaderSize) + stored;
    for (char c : frame) {
        w.sendRing[w.sendWrite] = static_cast<uint8_t>(c);
        w.sendWrite = (w.sendWrite + 1) % kRingSize;
    }
    w.sendIdle = 0;
    w.sendPending = true;
}

// Empty when both states agree, else the name of the first part that differs.
inline const char* firstDifference(const WireState& a, const WireState& b) {
    if (a.recvRing != b.recvRing) return "recvRing";
    if (a.sendRing != b.sendRing) return "sendRing";
    if (a.Buf_head != b.Buf_head || a.Buf_rear != b.Buf_rear) return "Buf_head/Buf_rear";
    if (a.sendRead != b.sendRead || a.sendWrite != b.sendWrite) return "sendRead/sendWrite";
    if (a.seqCounter != b.seqCounter || a.seqLast != b.seqLast) return "seqCounter/seqLast";
    if (a.useStamp != b.useStamp) return "useStamp";
    const PacketHead &x = a.head, &y = b.head;
    if (x.Seq != y.Seq || x.Len != y.Len || x.Type != y.Type || x.Sub != y.Sub || x.Param3 != y.Param3 ||
        x.Param4 != y.Param4 || x.Session != y.Session || x.Code != y.Code)
        return "head";
    if (a.msgBody != b.msgBody) return "msgBody";
    if (a.sendQueueFree != b.sendQueueFree || a.sendPending != b.sendPending || a.sendIdle != b.sendIdle ||
        a.recvPending != b.recvPending || a.frameTaken != b.frameTaken)
        return "flags";
    return "";
}

}  // namespace nq::model
