#pragma once
// The program's sounds, synthesised: mono 16-bit samples at kSoundRateHz.

#include <cstdint>
#include <vector>

namespace nq::assets {

inline constexpr int kSoundRateHz = 22050;

// A friend comes online: two rising bell-like notes, about 0.5 s.
std::vector<int16_t> onlineChime();

// A system message: one soft tone, about 0.4 s.
std::vector<int16_t> systemMessageTone();

// A message arrived: two quick falling wooden notes, about 0.4 s.
std::vector<int16_t> messageTone();

// A group opens or closes in the tree: a soft tick over a breath of noise, 0.15 s.
std::vector<int16_t> groupShiftSound();

}  // namespace nq::assets
