// The client's receive path: a ring in any state the pump can leave it in, datagrams
// arriving into it, and ParsePacket called as the pump calls it.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "wire/packet.h"

namespace {

// The pump parses while unread bytes remain; a parse can jump past the writer, so the
// number of rounds is bounded as the pump's own loop is by the bytes that arrived.
constexpr int kMaxParses = 256;

void check(bool ok) {
    if (!ok) std::abort();
}

void checkIndices(const nq::WireState& w) {
    check(w.Buf_head >= 0 && w.Buf_head < nq::kRingSize);
    check(w.Buf_rear >= 0 && w.Buf_rear < nq::kRingSize);
}

void checkParsed(const nq::WireState& w) {
    checkIndices(w);
    const int len = w.head.Len;
    if (len > nq::kMaxFrame) {
        check(w.Buf_head == 0 && w.Buf_rear == 0);  // a refused length empties the ring
        return;
    }
    // A frame never yields more body than its length announces, plus the trail byte of a
    // two-byte character that straddles its end.
    check(w.msgBody.size() <= static_cast<size_t>(std::max(len - nq::kHeaderSize, 0)) + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static auto* w = new nq::WireState;
    *w = nq::WireState{};
    FuzzedDataProvider in(data, size);

    // Any state the codec itself can reach: indices inside the ring, a length kept from an
    // earlier frame (0..0x7FFF, since the parser only stores lengths below 0x8000).
    w->Buf_head = in.ConsumeIntegralInRange<int32_t>(0, nq::kRingSize - 1);
    const bool nearEnd = in.ConsumeBool();
    if (nearEnd) w->Buf_head = nq::kRingSize - 1 - in.ConsumeIntegralInRange<int32_t>(0, 1100);
    w->head.Len = in.ConsumeIntegralInRange<int16_t>(0, 0x7FFF);
    w->head.Seq = in.ConsumeIntegral<int16_t>();
    w->seqLast = in.ConsumeIntegralInRange<int16_t>(0, nq::kSeqWrap);
    w->frameTaken = in.ConsumeBool();

    // Bytes already in the ring from the reader on, then datagrams of chosen sizes.
    const std::vector<uint8_t> resident =
        in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(0, 2100));
    for (size_t i = 0; i < resident.size(); ++i) w->recvRing[(w->Buf_head + i) % nq::kRingSize] = resident[i];
    w->Buf_rear = static_cast<int32_t>((w->Buf_head + resident.size()) % nq::kRingSize);

    int parses = 0;
    while (in.remaining_bytes() > 0 || (w->Buf_head != w->Buf_rear && parses < kMaxParses)) {
        if (in.remaining_bytes() > 0) {
            const auto chunk = in.ConsumeBytes<uint8_t>(in.ConsumeIntegralInRange<size_t>(1, 1500));
            nq::storeDatagram(*w, chunk.data(), chunk.size());
            checkIndices(*w);
        }
        while (w->Buf_head != w->Buf_rear && parses < kMaxParses) {
            nq::ParsePacket(*w);
            ++parses;
            checkParsed(*w);
            if (in.remaining_bytes() > 0 && in.ConsumeBool()) break;  // the next datagram comes first
        }
        if (parses >= kMaxParses) break;
    }
    return 0;
}
