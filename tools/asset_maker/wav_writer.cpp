#include "asset_maker/wav_writer.h"

namespace nq::assets {

namespace {

void put32(QByteArray& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.append(char(v >> (8 * i)));
}
void put16(QByteArray& out, uint16_t v) {
    out.append(char(v));
    out.append(char(v >> 8));
}

}  // namespace

QByteArray encodeWav(std::span<const int16_t> samples, int sampleRateHz) {
    constexpr uint16_t kChannels = 1;
    constexpr uint16_t kBytesPerSample = 2;
    const auto dataBytes = uint32_t(samples.size() * kBytesPerSample);
    QByteArray out;
    out.reserve(kWavHeaderBytes + int(dataBytes));
    out.append("RIFF");
    put32(out, kWavHeaderBytes - 8 + dataBytes);  // the RIFF size counts what follows it
    out.append("WAVEfmt ");
    put32(out, 16);  // size of the PCM format block
    put16(out, 1);   // PCM
    put16(out, kChannels);
    put32(out, uint32_t(sampleRateHz));
    put32(out, uint32_t(sampleRateHz) * kChannels * kBytesPerSample);
    put16(out, kChannels * kBytesPerSample);
    put16(out, 16);
    out.append("data");
    put32(out, dataBytes);
    for (int16_t s : samples) put16(out, uint16_t(s));
    return out;
}

}  // namespace nq::assets
