#pragma once
// The hotkey as User.ini stores it ("Ctrl+Alt,81": a modifier name, a comma, a decimal
// Windows virtual-key code; or the code alone) and its meaning on X11: a keysym and a set of
// X modifier bits. Pure text and tables, so that every combination is checked without a screen.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nq {

// Windows modifier mask bits as the stored names mean them.
inline constexpr std::uint16_t kHotkeyAlt = 1;
inline constexpr std::uint16_t kHotkeyCtrl = 2;
inline constexpr std::uint16_t kHotkeyShift = 4;

struct HotkeySpec {
    std::uint16_t mask = 0;  // kHotkeyAlt | kHotkeyCtrl | kHotkeyShift
    int virtualKey = 0;      // a Windows virtual-key code
    friend bool operator==(const HotkeySpec&, const HotkeySpec&) = default;
};

// The leading decimal number of a text as the old basic runtime read numbers: spaces skipped,
// an optional sign, digits up to the first other character; 0 when none follow.
int leadingNumber(std::string_view text);

// The mask of one of the seven modifier names ("Alt", "Ctrl", "Ctrl+Alt", "Shift", "Shift+Alt",
// "Ctrl+Shift", "Ctrl+Alt+Shift"), compared case-sensitively; 0 for any other name.
std::uint16_t hotkeyMask(std::string_view name);
// The name that hotkeyMask maps to mask; empty for 0.
std::string_view hotkeyModifierName(std::uint16_t mask);

// A stored value read into mask and key: without a comma the whole value is the key; with one,
// the name stands before the first comma and the key's number after it.
HotkeySpec parseHotkey(std::string_view text);
// The stored form of a mask and key: "Ctrl+Alt,81", or "81" without modifiers.
std::string formatHotkey(const HotkeySpec& spec);

// What the login passes on from the stored value: nothing for an empty value, the numeric value
// of a value of exactly three characters (a bare function key such as "112"), any other as it is.
std::optional<std::string> hotkeyValueAtLogin(std::string_view stored);

// X11 meaning. Modifier bits are the core protocol's: Shift 1, Control 4, Mod1 (Alt) 8.
inline constexpr std::uint16_t kX11Shift = 1;
inline constexpr std::uint16_t kX11Control = 4;
inline constexpr std::uint16_t kX11Mod1 = 8;

std::uint16_t x11Modifiers(std::uint16_t mask);
// The keysym of a virtual key (letters as their lower-case keysym, digits, F1 to F24, the keypad,
// space, the arrows and the editing block); 0 for a code with no X11 counterpart.
std::uint32_t x11Keysym(int virtualKey);

// The combination as the desktop's shortcut portal takes a preferred trigger: upper-case
// modifier names joined by "+" and the key's keysym name ("CTRL+ALT+q", "SHIFT+F12"); empty
// for a key with no X11 counterpart.
std::string portalTrigger(const HotkeySpec& spec);

}  // namespace nq
