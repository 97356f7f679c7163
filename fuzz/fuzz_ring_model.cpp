// The ring codec's fast copy paths against the byte-at-a-time model of ring_model.h: the same
// starting state (indices anywhere, often near the ring's end; rings full of old bytes) and
// the same calls of storeDatagram, ParsePacket, SendPacket and takeFromSendRing, after each of
// which both states and every returned byte must agree.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "ring_model.h"
#include "wire/packet.h"

namespace {

constexpr int kMaxCalls = 48;

void agree(const nq::WireState& real, const nq::WireState& model, const char* call) {
    const char* diff = nq::model::firstDifference(real, model);
    if (*diff == '\0') return;
    std::fprintf(stderr, "after %s the codec and the model differ in %s\n", call, diff);
    std::abort();
}

// An index anywhere in the ring, or within a frame's reach of its end, where the runs split.
int32_t ringIndex(FuzzedDataProvider& in) {
    if (in.ConsumeBool()) return nq::kRingSize - 1 - in.ConsumeIntegralInRange<int32_t>(0, 1100);
    return in.ConsumeIntegralInRange<int32_t>(0, nq::kRingSize - 1);
}

// Bytes for bodies and datagrams: raw, or drawn from the values where the character rule
// turns (NUL, a trail below 0x10, ASCII, lead bytes), which raw bytes reach only rarely.
std::vector<uint8_t> someBytes(FuzzedDataProvider& in, size_t maxSize) {
    const size_t n = in.ConsumeIntegralInRange<size_t>(0, maxSize);
    if (in.ConsumeBool()) return in.ConsumeBytes<uint8_t>(n);
    static constexpr uint8_t kTurns[] = {0x00, 0x05, 0x0F, 0x10, 0x41, 0x7F, 0x80, 0x81, 0xFE, 0xFF};
    std::vector<uint8_t> out;
    for (size_t i = 0; i < n && in.remaining_bytes() > 0; ++i)
        out.push_back(kTurns[in.ConsumeIntegralInRange<size_t>(0, sizeof kTurns - 1)]);
    return out;
}

// A received frame: a header that announces len (often the true one) followed by its body.
std::vector<uint8_t> someFrame(FuzzedDataProvider& in) {
    std::vector<uint8_t> body = someBytes(in, 1100);
    int len = static_cast<int>(body.size()) + nq::kHeaderSize;
    if (in.ConsumeBool()) len = in.ConsumeIntegralInRange<int>(0, 0xFFFF);
    std::vector<uint8_t> frame(nq::kHeaderSize);
    for (auto& b : frame) b = in.ConsumeIntegral<uint8_t>();
    frame[2] = static_cast<uint8_t>(len >> 8);
    frame[3] = static_cast<uint8_t>(len);
    frame.insert(frame.end(), body.begin(), body.end());
    return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto* real = new nq::WireState;
    static auto* model = new nq::WireState;
    FuzzedDataProvider in(data, size);

    *real = nq::WireState{};
    uint32_t x = in.ConsumeIntegral<uint32_t>();
    for (auto* ring : {&real->recvRing, &real->sendRing}) {
        for (auto& b : *ring) {
            x = x * 1664525 + 1013904223;
            b = static_cast<uint8_t>(x >> 24);
        }
    }
    real->Buf_head = ringIndex(in);
    real->Buf_rear = in.ConsumeBool() ? real->Buf_head : ringIndex(in);
    real->sendRead = real->sendWrite = ringIndex(in);
    real->head.Len = in.ConsumeIntegralInRange<int16_t>(0, 0x7FFF);
    real->head.Seq = in.ConsumeIntegral<int16_t>();
    real->seqCounter = in.ConsumeIntegral<int16_t>();
    real->seqLast = in.ConsumeIntegralInRange<int16_t>(0, nq::kSeqWrap);
    real->sessionId = in.ConsumeIntegral<uint32_t>();
    real->useStamp = in.ConsumeBool();
    real->replyStamp = in.ConsumeIntegral<int16_t>();
    real->frameTaken = in.ConsumeBool();
    *model = *real;

    for (int call = 0; call < kMaxCalls && in.remaining_bytes() > 0; ++call) {
        switch (in.ConsumeIntegralInRange<int>(0, 3)) {
            case 0: {
                const std::vector<uint8_t> d = in.ConsumeBool() ? someFrame(in) : someBytes(in, 1500);
                nq::storeDatagram(*real, d.data(), d.size());
                nq::model::storeDatagram(*model, d.data(), d.size());
                agree(*real, *model, "storeDatagram");
                break;
            }
            case 1:
                nq::ParsePacket(*real);
                nq::model::ParsePacket(*model);
                agree(*real, *model, "ParsePacket");
                break;
            case 2: {
                nq::PacketHead record;
                record.Type = in.ConsumeIntegral<uint16_t>();
                record.Sub = in.ConsumeIntegral<uint16_t>();
                record.Param3 = in.ConsumeIntegral<uint16_t>();
                record.Param4 = in.ConsumeIntegral<uint16_t>();
                record.Code = in.ConsumeIntegral<uint16_t>();
                const std::vector<uint8_t> b = someBytes(in, 1100);
                const std::string_view body(reinterpret_cast<const char*>(b.data()), b.size());
                nq::SendPacket(*real, record, body);
                nq::model::SendPacket(*model, record, body);
                agree(*real, *model, "SendPacket");
                break;
            }
            default: {
                const size_t n = in.ConsumeIntegralInRange<size_t>(0, 2200);
                if (nq::takeFromSendRing(*real, n) != nq::model::takeFromSendRing(*model, n)) {
                    std::fprintf(stderr, "takeFromSendRing returned other bytes than the model\n");
                    std::abort();
                }
                agree(*real, *model, "takeFromSendRing");
                break;
            }
        }
    }
    return 0;
}
