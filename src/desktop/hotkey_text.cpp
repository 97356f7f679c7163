#include "desktop/hotkey_text.h"

#include <array>
#include <utility>

namespace nq {

namespace {

constexpr std::array<std::pair<std::string_view, std::uint16_t>, 7> kNames{{
    {"Alt", kHotkeyAlt},
    {"Ctrl", kHotkeyCtrl},
    {"Ctrl+Alt", kHotkeyCtrl | kHotkeyAlt},
    {"Shift", kHotkeyShift},
    {"Shift+Alt", kHotkeyShift | kHotkeyAlt},
    {"Ctrl+Shift", kHotkeyCtrl | kHotkeyShift},
    {"Ctrl+Alt+Shift", kHotkeyCtrl | kHotkeyAlt | kHotkeyShift},
}};

// Virtual keys whose X11 keysyms do not follow from a range, with the keysyms' names.
struct Single {
    int vk;
    std::uint32_t keysym;
    std::string_view name;
};
constexpr std::array<Single, 17> kSingles{{
    {0x08, 0xff08, "BackSpace"},
    {0x09, 0xff09, "Tab"},
    {0x0d, 0xff0d, "Return"},
    {0x13, 0xff13, "Pause"},
    {0x1b, 0xff1b, "Escape"},
    {0x20, 0x0020, "space"},
    {0x21, 0xff55, "Prior"},
    {0x22, 0xff56, "Next"},
    {0x23, 0xff57, "End"},
    {0x24, 0xff50, "Home"},
    {0x25, 0xff51, "Left"},
    {0x26, 0xff52, "Up"},
    {0x27, 0xff53, "Right"},
    {0x28, 0xff54, "Down"},
    {0x2c, 0xff61, "Print"},
    {0x2d, 0xff63, "Insert"},
    {0x2e, 0xffff, "Delete"},
}};

}  // namespace

int leadingNumber(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
        // Far beyond any key code; the cap only keeps the arithmetic defined.
        if (value > 1'000'000'000) break;
    }
    return static_cast<int>(negative ? -value : value);
}

std::uint16_t hotkeyMask(std::string_view name) {
    for (const auto& [text, mask] : kNames)
        if (text == name) return mask;
    return 0;
}

std::string_view hotkeyModifierName(std::uint16_t mask) {
    for (const auto& [text, m] : kNames)
        if (m == mask) return text;
    return {};
}

HotkeySpec parseHotkey(std::string_view text) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos) return {0, leadingNumber(text)};
    return {hotkeyMask(text.substr(0, comma)), leadingNumber(text.substr(comma + 1))};
}

std::string formatHotkey(const HotkeySpec& spec) {
    const std::string_view name = hotkeyModifierName(spec.mask);
    std::string out = name.empty() ? std::string() : std::string(name) + ",";
    return out + std::to_string(spec.virtualKey);
}

std::optional<std::string> hotkeyValueAtLogin(std::string_view stored) {
    if (stored.empty()) return std::nullopt;
    if (stored.size() == 3) return std::to_string(leadingNumber(stored));
    return std::string(stored);
}

std::uint16_t x11Modifiers(std::uint16_t mask) {
    std::uint16_t out = 0;
    if (mask & kHotkeyAlt) out |= kX11Mod1;
    if (mask & kHotkeyCtrl) out |= kX11Control;
    if (mask & kHotkeyShift) out |= kX11Shift;
    return out;
}

std::uint32_t x11Keysym(int vk) {
    if (vk >= '0' && vk <= '9') return static_cast<std::uint32_t>(vk);
    // Letter keys are upper-case codes; the unshifted keysym is the lower-case letter.
    if (vk >= 'A' && vk <= 'Z') return static_cast<std::uint32_t>(vk - 'A' + 'a');
    if (vk >= 0x60 && vk <= 0x69) return 0xffb0 + static_cast<std::uint32_t>(vk - 0x60);  // KP_0..KP_9
    if (vk >= 0x70 && vk <= 0x87) return 0xffbe + static_cast<std::uint32_t>(vk - 0x70);  // F1..F24
    for (const Single& single : kSingles)
        if (single.vk == vk) return single.keysym;
    return 0;
}

std::string portalTrigger(const HotkeySpec& spec) {
    const int vk = spec.virtualKey;
    std::string key;
    if ((vk >= '0' && vk <= '9') || (vk >= 'A' && vk <= 'Z'))
        key = std::string(1, static_cast<char>(x11Keysym(vk)));
    else if (vk >= 0x60 && vk <= 0x69)
        key = "KP_" + std::to_string(vk - 0x60);
    else if (vk >= 0x70 && vk <= 0x87)
        key = "F" + std::to_string(vk - 0x70 + 1);
    for (const Single& single : kSingles)
        if (single.vk == vk) key = single.name;
    if (key.empty()) return {};
    std::string trigger;
    if (spec.mask & kHotkeyCtrl) trigger += "CTRL+";
    if (spec.mask & kHotkeyAlt) trigger += "ALT+";
    if (spec.mask & kHotkeyShift) trigger += "SHIFT+";
    return trigger + key;
}

}  // namespace nq
