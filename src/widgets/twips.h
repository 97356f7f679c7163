#pragma once
// Positions and sizes that the program keeps in files or reasons about in twips, the unit its
// windows were designed in: 15 twips a pixel.

#include <cmath>

namespace nq {

inline constexpr int kTwipsPerPixel = 15;

[[nodiscard]] inline int twipsToPixels(double twips) {
    return static_cast<int>(std::lround(twips / kTwipsPerPixel));
}

}  // namespace nq
