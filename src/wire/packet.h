#pragma once
// The wire frame: a 22-byte big-endian header and a body of NUL-closed GBK fields, moved
// through two byte rings of 65408 bytes. Parsing follows the ring, not datagram borders.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

inline constexpr int kRingSize = 65408;  // 0xFF80
inline constexpr int kHeaderSize = 22;
inline constexpr int kMaxFrame = 1021;  // the largest frame the client accepts: a 999-byte body
inline constexpr int kSeqWrap = 6000;

// The record of the last parsed frame. The numeric fields are held as floats on purpose:
// handlers compare them with whole values, and an overflowing Seq or Len keeps its old value.
struct PacketHead {
    int16_t Seq = 0;
    int16_t Len = 0;
    float Type = 0;
    float Sub = 0;
    float Param3 = 0;
    float Param4 = 0;
    float Reserved1 = 0;
    float Reserved2 = 0;
    double Session = 0;
    float Code = 0;
};

// What the codec shares with the pump: both rings with their indices, the numbering and the
// session stamp, and the flags that SendPacket and ParsePacket set on the way.
struct WireState {
    std::array<uint8_t, kRingSize> recvRing{};
    int32_t Buf_head = 0;
    int32_t Buf_rear = 0;

    std::array<uint8_t, kRingSize> sendRing{};
    int32_t sendRead = 0;
    int32_t sendWrite = 0;

    int16_t seqCounter = 0;
    int16_t seqLast = 0;
    double sessionId = 0;
    bool useStamp = false;
    int16_t replyStamp = 0;

    PacketHead head;  // filled by ParsePacket, read by the handler
    Bytes msgBody;    // body of the last parsed frame, cut by the handler as it reads

    bool sendQueueFree = true;
    bool sendPending = false;
    int16_t sendIdle = 0;
    bool recvPending = false;
    bool frameTaken = false;
};

// Builds the frame of record and body and appends it to the send ring. Seq and Len of the
// record are ignored: the frame gets the next sequence number and its real length.
void SendPacket(WireState& w, const PacketHead& record, std::string_view body);

// Reads one frame at Buf_head into head and msgBody and moves Buf_head past it. A length
// above 1021 poisons the ring: both indices go to 0 and the record keeps only Seq and Len.
void ParsePacket(WireState& w);

// Copies a datagram into the receive ring. When the writer catches up with the reader the
// ring is full: both indices drop to 0, discarding everything unread.
void storeDatagram(WireState& w, const uint8_t* data, size_t size);

// Takes size bytes out of the send ring at sendRead, wrapping, for one transmission.
[[nodiscard]] Bytes takeFromSendRing(WireState& w, size_t size);

// The keep-alive (9,0) frame, numbered like any other but built outside the send ring.
[[nodiscard]] Bytes buildKeepAlive(WireState& w, std::string_view ownName);

// Login version code: first digit * 256 + last digit of a "1.0"-style version text.
[[nodiscard]] int versionCode(std::string_view ver);

// ---- Plain frame codec, for the server, tools and tests: no rings, no client state. ----

struct FrameHeader {
    uint16_t seq = 0;
    uint16_t type = 0;
    uint16_t sub = 0;
    uint32_t session = 0;
    uint16_t code = 0;
};

struct Frame {
    FrameHeader header;
    uint16_t len = 0;
    std::string_view body;  // points into the buffer given to decodeFrame
};

// Appends one frame to out; its Len is 22 + body size.
void encodeFrame(const FrameHeader& h, std::string_view body, Bytes& out);
[[nodiscard]] Bytes encodeFrame(const FrameHeader& h, std::string_view body);

// Decodes the frame at the start of data. Len must be at least 22 and the frame must lie
// within data; otherwise there is no frame. Lengths above 1021 are accepted here: clients
// may send long chat frames, and it is the client's parser that refuses them.
[[nodiscard]] std::optional<Frame> decodeFrame(std::string_view data);

}  // namespace nq
