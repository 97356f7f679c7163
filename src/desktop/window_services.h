#pragma once
// Services that every window's load calls: the topmost band and the stored transparency.

#include <cstdint>
#include <optional>
#include <string_view>

class QWidget;

namespace nq {

// Moves the window into the topmost band (enable) or out of it. A visible window stays visible
// where it was: changing the hint makes the window system recreate it, so it is shown again.
void SetTopMost(QWidget* window, bool enable);

// The alpha that the layered window really gets: 252 and above become fully opaque (255).
constexpr std::uint8_t effectiveAlpha(std::uint8_t alpha) {
    return alpha >= 252 ? 255 : alpha;
}

// Window opacity from one byte of alpha, 0 transparent to 255 opaque.
void SetTransparency(QWidget* window, std::uint8_t alpha);

// The "flag,alpha," text of the TransValue setting, read leniently: the flag counts only when
// its numeric value is exactly 1, and an alpha that is missing or does not fit in one byte
// (after rounding half to even) is no alpha, and so is one that does not start with a number.
struct TransValue {
    bool enabled = false;
    std::optional<std::uint8_t> alpha;
};
[[nodiscard]] TransValue parseTransValue(std::string_view text);

// Applies a TransValue text to the window when its flag is 1 and its alpha is usable; any other
// text leaves the window as it is. True when an alpha was applied.
bool applyStoredTransparency(QWidget* window, std::string_view transValueText);

}  // namespace nq
