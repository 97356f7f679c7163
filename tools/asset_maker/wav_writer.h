#pragma once
// RIFF/WAVE files holding mono 16-bit PCM, the one sound format every player here accepts.

#include <QByteArray>

#include <cstdint>
#include <span>

namespace nq::assets {

inline constexpr int kWavHeaderBytes = 44;

[[nodiscard]] QByteArray encodeWav(std::span<const int16_t> samples, int sampleRateHz);

}  // namespace nq::assets
