#pragma once
// The texts behind the settings window: how a stored Hotkey value shows in the key box, what
// the box saves back, which keys the box lets through, and the TransValue text of the
// transparency controls. Stored values are GBK bytes; the key box is a QString.

#include <QString>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "wire/gbk.h"

namespace nq {

// The four modifier options of the hotkey page, by their prefixes in the key box.
enum class HotkeyOption { None, Alt, Ctrl, CtrlAlt, Function };

// "Alt+", "Ctrl+", "Ctrl+Alt+", "F"; empty for None.
[[nodiscard]] QString hotkeyPrefix(HotkeyOption option);

struct HotkeyShown {
    HotkeyOption option = HotkeyOption::None;
    QString text;
};

// What the window shows for a stored, non-empty Hotkey: decided by the value's length in
// bytes (3 is a function key number, below 9 Alt or Ctrl by its first three bytes, 9 and
// more Ctrl+Alt), the character after the comma by its code. A code that is no character
// (none, 0, out of range) shows only the prefix.
[[nodiscard]] HotkeyShown hotkeyShown(std::string_view stored);

// The character code a save writes for one character: its code for ASCII, otherwise its
// GBK double byte read as a signed 16-bit number ("无" is -12578).
[[nodiscard]] int characterCode(QChar c);

// The Hotkey value a save writes for the key box: more than two characters give the text
// before the last two, a comma and the last one's code ("Ctrl+Alt+Q" -> "Ctrl+Alt,81");
// one or two give the first character's code alone ("F5" -> "70"); empty saves nothing.
[[nodiscard]] std::optional<Bytes> hotkeySaveValue(const QString& box);

// A key typed into the key box: swallowed (nothing), or the character to insert, maybe
// after the box is reset to a new text with the caret at its end.
struct HotkeyKeyPress {
    std::optional<QChar> insert;
    std::optional<QString> resetTo;
};
[[nodiscard]] HotkeyKeyPress hotkeyKeyPress(HotkeyOption option, const QString& box, QChar typed);

// The TransValue text of a save: "1,205," for on at 25 percent.
[[nodiscard]] Bytes transValueText(bool enabled, int percent);
// The alpha of a percentage, 255 at 0 and 79 at the slider's end of 88.
[[nodiscard]] constexpr int alphaOfPercent(int percent) {
    return 255 - 2 * percent;
}
// The percentage the window shows for a stored alpha.
[[nodiscard]] constexpr int percentOfAlpha(int alpha) {
    return (255 - alpha) >> 1;
}

}  // namespace nq
