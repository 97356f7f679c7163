// The per-frame cost of the client's wire path: a frame built into the send ring, taken out
// for transmission, stored into the receive ring as a datagram and parsed back.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "wire/fields.h"
#include "wire/gbk.h"
#include "wire/packet.h"

namespace nq {
namespace {

constexpr size_t kBodyBytes = 200;

enum BodyKind { kAscii, kMixed, kChinese };

// A chat-like body of exactly 200 bytes: NUL-closed fields of names, a message and a font.
Bytes makeBody(BodyKind kind) {
    Bytes body;
    switch (kind) {
        case kAscii:
            body = joinFields({"alice", "bob", "see you at eight, the usual place", "SimSun;12;0;0"});
            break;
        case kMixed:
            body = joinFields({gbk::fromUtf8("小明"), "bob",
                               gbk::fromUtf8("今晚八点老地方见，别忘了带上那本书 ok? 再见"), "SimSun;12"});
            break;
        case kChinese:
            body =
                joinFields({gbk::fromUtf8("小明"), gbk::fromUtf8("小红"),
                            gbk::fromUtf8("今晚八点老地方见别忘了带上那本书我们一起去图书馆然后去吃饭好不好"
                                          "明天见今晚八点老地方见别忘了带上那本书我们一起去图书馆然后去吃")});
            break;
    }
    // Pad the message field to the exact size with characters of the same kind.
    const Bytes filler = kind == kAscii ? Bytes("x") : gbk::fromUtf8("好");
    while (body.size() + filler.size() + 1 <= kBodyBytes) body.insert(body.size() - 1, filler);
    while (body.size() < kBodyBytes) body.insert(body.size() - 1, "x");
    body.resize(kBodyBytes);
    body.back() = '\0';
    return body;
}

void BM_BuildAndParseThroughRings(benchmark::State& state) {
    const Bytes body = makeBody(static_cast<BodyKind>(state.range(0)));
    auto sender = std::make_unique<WireState>();
    auto receiver = std::make_unique<WireState>();
    sender->sessionId = 123456;
    PacketHead record;
    record.Type = 6;
    record.Sub = 1;
    record.Code = 0;
    for (auto _ : state) {
        SendPacket(*sender, record, body);
        const int pending = (sender->sendWrite - sender->sendRead + kRingSize) % kRingSize;
        const Bytes datagram = takeFromSendRing(*sender, static_cast<size_t>(pending));
        storeDatagram(*receiver, reinterpret_cast<const uint8_t*>(datagram.data()), datagram.size());
        ParsePacket(*receiver);
        benchmark::DoNotOptimize(receiver->msgBody.data());
        benchmark::ClobberMemory();
    }
    if (receiver->msgBody != body) state.SkipWithError("the parsed body differs from the one sent");
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kHeaderSize + kBodyBytes));
}
BENCHMARK(BM_BuildAndParseThroughRings)->ArgName("body")->Arg(kAscii)->Arg(kMixed)->Arg(kChinese);

void BM_EncodeFrame(benchmark::State& state) {
    const Bytes body = makeBody(kMixed);
    const FrameHeader h{17, 6, 1, 123456, 0};
    Bytes out;
    for (auto _ : state) {
        out.clear();
        encodeFrame(h, body, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EncodeFrame);

void BM_DecodeFrame(benchmark::State& state) {
    const Bytes frame = encodeFrame(FrameHeader{17, 6, 1, 123456, 0}, makeBody(kMixed));
    for (auto _ : state) {
        auto f = decodeFrame(frame);
        benchmark::DoNotOptimize(f);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DecodeFrame);

void BM_EncodeThenDecodeFrame(benchmark::State& state) {
    const Bytes body = makeBody(kMixed);
    const FrameHeader h{17, 6, 1, 123456, 0};
    for (auto _ : state) {
        const Bytes frame = encodeFrame(h, body);
        auto f = decodeFrame(frame);
        benchmark::DoNotOptimize(f);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EncodeThenDecodeFrame);

}  // namespace
}  // namespace nq
