#include "wire/packet.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace nq {
namespace {

inline void put16(uint8_t* p, int v) {
    p[0] = static_cast<uint8_t>((v >> 8) & 0xFF);
    p[1] = static_cast<uint8_t>(v & 0xFF);
}

inline void put32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

inline int floatToInt(float f) {
    return static_cast<int>(std::lrint(f));
}

inline uint32_t sessionBytes(double session) {
    if (!(session >= 0) || session > 4294967295.0) return 0;
    return static_cast<uint32_t>(session);
}

// The counter is a signed 16-bit value: the increment that would overflow it fails and is
// skipped, as every failing statement of the codec is.
void nextSeq(WireState& w) {
    if (w.seqCounter < std::numeric_limits<int16_t>::max()) ++w.seqCounter;
    w.seqLast = w.seqCounter;
    if (w.seqLast >= kSeqWrap) w.seqLast = 1;
}

// Writes the body from offset 22 by the character rule: a byte below 0x80 is stored; a lead
// byte and its trail are stored as a pair, unless the trail is below 0x10, which made a
// three-hex-digit character value that stored nothing. Returns the bytes written.
size_t writeBody(uint8_t* out, std::string_view body) {
    size_t o = 0;
    size_t i = 0;
    while (i < body.size()) {
        const auto b = static_cast<uint8_t>(body[i]);
        if (b < 0x80) {
            out[o++] = b;
            i += 1;
        } else if (i + 1 >= body.size()) {
            out[o++] = b;
            i += 1;
        } else {
            const auto t = static_cast<uint8_t>(body[i + 1]);
            if (t >= 0x10) {
                out[o++] = b;
                out[o++] = t;
            }
            i += 2;
        }
    }
    return o;
}

constexpr uint64_t kHighBits = 0x8080808080808080ULL;
constexpr uint64_t kLow7Bits = 0x7F7F7F7F7F7F7F7FULL;
constexpr uint64_t kHighNibbles = 0xF0F0F0F0F0F0F0F0ULL;

inline uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// 0x80 in every byte of x that is zero, nothing elsewhere (no carries between bytes).
inline uint64_t zeroBytes(uint64_t x) {
    return ~(((x & kLow7Bits) + kLow7Bits) | x | kLow7Bits);
}

// Number of bytes of 0x80 and up that directly precede end, looking no further back than
// begin. Such a run starts on a character border (the byte before it, below 0x80, always
// closes a character), so its bytes pair up from its start: the byte at end - 1 opens a
// two-byte character exactly when the run's length is odd.
inline size_t highRunBefore(const uint8_t* p, size_t begin, size_t end) {
    size_t i = end;
    while (i > begin && p[i - 1] >= 0x80) --i;
    return end - i;
}

struct BodyShape {
    bool verbatim = true;   // writeBody would copy every byte unchanged
    bool loneLead = false;  // the last byte is a lead byte with no trail: it counts 2
};

// What writeBody and gbkLength would make of body, found without walking every character:
// only a byte below 0x10 right after a byte of 0x80 and up can be a dropped trail.
BodyShape shapeOf(std::string_view body) {
    const auto* p = reinterpret_cast<const uint8_t*>(body.data());
    const size_t n = body.size();
    BodyShape shape;
    size_t i = 1;
    auto check = [&](size_t q) {
        if (p[q] < 0x10 && p[q - 1] >= 0x80 && (highRunBefore(p, 0, q) & 1)) shape.verbatim = false;
    };
    for (; i + 8 <= n && shape.verbatim; i += 8) {
        const uint64_t candidates = zeroBytes(load64(p + i) & kHighNibbles) & load64(p + i - 1) & kHighBits;
        if (candidates == 0) continue;
        for (size_t k = 0; k < 8; ++k) check(i + k);
    }
    for (; i < n && shape.verbatim; ++i) check(i);
    shape.loneLead = n > 0 && p[n - 1] >= 0x80 && (highRunBefore(p, 0, n) & 1);
    return shape;
}

// Appends bytes to a ring at pos, wrapping; a run longer than the ring overwrites itself in
// order, as writing byte by byte would.
void copyIntoRing(uint8_t* ring, int32_t& pos, const uint8_t* data, size_t size) {
    while (size > 0) {
        const size_t n = std::min(size, static_cast<size_t>(kRingSize - pos));
        std::memcpy(ring + pos, data, n);
        data += n;
        size -= n;
        pos = static_cast<int32_t>((pos + n) % kRingSize);
    }
}

void zeroIntoRing(uint8_t* ring, int32_t& pos, size_t size) {
    while (size > 0) {
        const size_t n = std::min(size, static_cast<size_t>(kRingSize - pos));
        std::memset(ring + pos, 0, n);
        size -= n;
        pos = static_cast<int32_t>((pos + n) % kRingSize);
    }
}

}  // namespace

void SendPacket(WireState& w, const PacketHead& record, std::string_view body) {
    w.sendQueueFree = false;
    const BodyShape shape = shapeOf(body);
    const int bodyLength = static_cast<int>(body.size()) + (shape.loneLead ? 1 : 0);  // gbkLength(body)
    const int size = bodyLength + kHeaderSize;
    uint8_t p[kHeaderSize] = {};

    nextSeq(w);
    put16(p + 0, w.seqLast);
    put16(p + 2, size);
    put16(p + 4, floatToInt(record.Type));
    put16(p + 6, floatToInt(record.Sub));
    put16(p + 8, floatToInt(record.Param3));
    put16(p + 10, floatToInt(record.Param4));
    if (w.useStamp && w.replyStamp != 0) {
        put32(p + 16, static_cast<uint32_t>(static_cast<int32_t>(w.replyStamp)));
        w.useStamp = false;
    } else {
        put32(p + 16, sessionBytes(w.sessionId));
    }
    put16(p + 20, floatToInt(record.Code));

    // The frame is size bytes whatever writeBody stores: what it leaves out stays zero.
    copyIntoRing(w.sendRing.data(), w.sendWrite, p, kHeaderSize);
    if (shape.verbatim) {
        copyIntoRing(w.sendRing.data(), w.sendWrite, reinterpret_cast<const uint8_t*>(body.data()),
                     body.size());
        zeroIntoRing(w.sendRing.data(), w.sendWrite, static_cast<size_t>(bodyLength) - body.size());
    } else {
        Bytes stored(static_cast<size_t>(bodyLength), '\0');
        writeBody(reinterpret_cast<uint8_t*>(stored.data()), body);
        copyIntoRing(w.sendRing.data(), w.sendWrite, reinterpret_cast<const uint8_t*>(stored.data()),
                     stored.size());
    }
    w.sendIdle = 0;
    w.sendPending = true;
}

void ParsePacket(WireState& w) {
    const auto& r = w.recvRing;
    const int h = w.Buf_head;
    uint8_t hdr[kHeaderSize];
    if (h + kHeaderSize <= kRingSize) {
        std::memcpy(hdr, r.data() + h, kHeaderSize);
    } else {
        for (int i = 0; i < kHeaderSize; ++i) hdr[i] = r[(h + i) % kRingSize];
    }
    auto at = [&](int off) -> int { return hdr[off]; };
    PacketHead& head = w.head;

    // A value of 0x8000 and up does not fit the signed field: the assignment fails and the
    // field keeps what the previous frame left in it.
    if (at(0) < 0x80) head.Seq = static_cast<int16_t>(at(0) * 256 + at(1));
    w.seqCounter = head.Seq;
    if (w.seqCounter < w.seqLast) w.seqCounter = w.seqLast;
    if (at(2) < 0x80) head.Len = static_cast<int16_t>(at(2) * 256 + at(3));

    if (head.Len > kMaxFrame) {
        w.Buf_head = 0;
        w.Buf_rear = 0;
        return;
    }

    head.Type = static_cast<float>(at(4) * 256 + at(5));
    head.Sub = static_cast<float>(at(6) * 256 + at(7));
    head.Param3 = static_cast<float>(at(8) * 256 + at(9));
    head.Param4 = static_cast<float>(at(10) * 256 + at(11));
    head.Session = at(16) * 16777216.0 + at(17) * 65536.0 + at(18) * 256.0 + at(19);
    head.Code = static_cast<float>(at(20) * 256 + at(21));

    w.msgBody.clear();
    const int end = h + head.Len;

    // A frame that ends two bytes or more before the ring's end cannot meet the wrap: the
    // walk below would copy its body as one run, ending at end or, when the last byte opens
    // a two-byte character, one byte past it.
    if (h + kHeaderSize < kRingSize && end <= kRingSize - 2) {
        const int start = h + kHeaderSize;
        int stopAt = start;
        if (start < end) {
            const size_t run = highRunBefore(r.data(), static_cast<size_t>(start), static_cast<size_t>(end));
            stopAt = end + static_cast<int>(run & 1);
            w.msgBody.assign(reinterpret_cast<const char*>(r.data() + start),
                             static_cast<size_t>(stopAt - start));
        }
        w.Buf_head = stopAt;
        if (!w.frameTaken) w.recvPending = false;
        return;
    }

    const bool wrapped = end > kRingSize;
    int stop = (h + kHeaderSize > kRingSize - 1) ? end % kRingSize : 0;
    w.Buf_head = (h + kHeaderSize) % kRingSize;

    // One character a step; reports whether the step carried Buf_head across the ring's end.
    auto step = [&]() -> bool {
        const uint8_t b = r[w.Buf_head];
        w.msgBody.push_back(static_cast<char>(b));
        if (b < 0x80) {
            w.Buf_head = (w.Buf_head + 1) % kRingSize;
            return w.Buf_head == 0;
        }
        w.msgBody.push_back(static_cast<char>(r[(w.Buf_head + 1) % kRingSize]));
        w.Buf_head = (w.Buf_head + 2) % kRingSize;
        return w.Buf_head <= 1;
    };

    if (wrapped) {
        while (w.Buf_head <= (stop + kRingSize - 1) % kRingSize) {
            if (step()) stop = end % kRingSize;
        }
    } else if (h + kHeaderSize < kRingSize) {
        // A frame ending exactly at the ring's end would otherwise never meet its bound:
        // Buf_head wraps to 0 and stays below end. The wrap closes the frame.
        while (w.Buf_head < end) {
            if (step()) break;
        }
    }
    // Otherwise the header itself reached the ring's end and the frame ended within it (a
    // 22-byte frame in the last 22 bytes, or a length below 22): the wrap closes it there,
    // with no body, instead of the walk running from 0 over the whole ring.

    if (!w.frameTaken) w.recvPending = false;
}

void storeDatagram(WireState& w, const uint8_t* data, size_t size) {
    w.frameTaken = false;
    // Copied in runs that end where the writer would meet the reader or the ring's end,
    // the two places where writing byte by byte changes an index beyond the next byte.
    while (size > 0) {
        const int32_t limit = (w.Buf_head > w.Buf_rear && w.Buf_head < kRingSize) ? w.Buf_head : kRingSize;
        const size_t n = std::min(size, static_cast<size_t>(limit - w.Buf_rear));
        std::memcpy(w.recvRing.data() + w.Buf_rear, data, n);
        data += n;
        size -= n;
        w.Buf_rear = static_cast<int32_t>((w.Buf_rear + n) % kRingSize);
        if (w.Buf_rear == w.Buf_head) {
            w.Buf_rear = 0;
            w.Buf_head = 0;
        }
    }
    w.recvPending = true;
}

Bytes takeFromSendRing(WireState& w, size_t size) {
    Bytes out;
    out.reserve(size);
    while (out.size() < size) {
        const size_t n = std::min(size - out.size(), static_cast<size_t>(kRingSize - w.sendRead));
        out.append(reinterpret_cast<const char*>(w.sendRing.data() + w.sendRead), n);
        w.sendRead = static_cast<int32_t>((w.sendRead + n) % kRingSize);
    }
    return out;
}

Bytes buildKeepAlive(WireState& w, std::string_view ownName) {
    Bytes body(ownName);
    body.push_back('\0');
    const int size = gbkLength(body) + kHeaderSize;
    Bytes frame(static_cast<size_t>(size), '\0');
    auto* p = reinterpret_cast<uint8_t*>(frame.data());
    nextSeq(w);
    put16(p + 0, w.seqLast);
    p[3] = static_cast<uint8_t>(size & 0xFF);
    p[5] = 9;
    put32(p + 16, sessionBytes(w.sessionId));
    writeBody(p + kHeaderSize, body);
    return frame;
}

int versionCode(std::string_view ver) {
    if (ver.empty()) return 0;
    auto digit = [](char c) { return (c >= '0' && c <= '9') ? c - '0' : 0; };
    return digit(ver.front()) * 256 + digit(ver.back());
}

void encodeFrame(const FrameHeader& h, std::string_view body, Bytes& out) {
    const size_t start = out.size();
    out.resize(start + kHeaderSize, '\0');
    auto* p = reinterpret_cast<uint8_t*>(out.data() + start);
    put16(p + 0, h.seq);
    put16(p + 2, static_cast<int>(kHeaderSize + body.size()));
    put16(p + 4, h.type);
    put16(p + 6, h.sub);
    put32(p + 16, h.session);
    put16(p + 20, h.code);
    out.append(body);
}

Bytes encodeFrame(const FrameHeader& h, std::string_view body) {
    Bytes out;
    out.reserve(kHeaderSize + body.size());
    encodeFrame(h, body, out);
    return out;
}

std::optional<Frame> decodeFrame(std::string_view data) {
    if (data.size() < static_cast<size_t>(kHeaderSize)) return std::nullopt;
    auto u8 = [&](size_t i) -> uint32_t { return static_cast<uint8_t>(data[i]); };
    auto u16 = [&](size_t i) -> uint16_t { return static_cast<uint16_t>(u8(i) << 8 | u8(i + 1)); };
    Frame f;
    f.len = u16(2);
    if (f.len < kHeaderSize || f.len > data.size()) return std::nullopt;
    f.header.seq = u16(0);
    f.header.type = u16(4);
    f.header.sub = u16(6);
    f.header.session = u8(16) << 24 | u8(17) << 16 | u8(18) << 8 | u8(19);
    f.header.code = u16(20);
    f.body = data.substr(kHeaderSize, f.len - kHeaderSize);
    return f;
}

}  // namespace nq
