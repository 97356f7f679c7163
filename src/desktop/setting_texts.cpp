#include "desktop/setting_texts.h"

#include <cmath>

#include "wire/fields.h"

namespace nq {

namespace {

// A numeric text the way the window writes it: whole numbers without a decimal point.
QString numberText(double value) {
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        return QString::number(static_cast<long long>(value));
    return QString::number(value, 'g', 15);
}

// The character a stored code stands for: ASCII codes as they are, negative codes as GBK
// double bytes (the form characterCode writes for everything else).
QString characterOfCode(double code) {
    if (code >= 1 && code <= 127 && code == std::floor(code)) return QString(QChar(static_cast<int>(code)));
    if (code >= -32768 && code <= -1 && code == std::floor(code)) {
        const int word = static_cast<int>(code) + 0x10000;
        const Bytes pair{static_cast<char>(word >> 8), static_cast<char>(word & 0xFF)};
        const QString text = QString::fromStdString(gbk::toUtf8(pair));
        if (text.size() == 1) return text;
    }
    return {};
}

bool isAsciiLetterOrDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || (u >= '0' && u <= '9');
}

}  // namespace

QString hotkeyPrefix(HotkeyOption option) {
    switch (option) {
        case HotkeyOption::Alt:
            return QStringLiteral("Alt+");
        case HotkeyOption::Ctrl:
            return QStringLiteral("Ctrl+");
        case HotkeyOption::CtrlAlt:
            return QStringLiteral("Ctrl+Alt+");
        case HotkeyOption::Function:
            return QStringLiteral("F");
        case HotkeyOption::None:
            break;
    }
    return {};
}

HotkeyShown hotkeyShown(std::string_view stored) {
    HotkeyShown shown;
    if (stored.size() == 3) {
        shown.option = HotkeyOption::Function;
        shown.text = QStringLiteral("F") + numberText(toNumber(stored) - 111);
        return shown;
    }
    if (stored.size() < 9)
        shown.option = stored.substr(0, 3) == "Alt" ? HotkeyOption::Alt : HotkeyOption::Ctrl;
    else
        shown.option = HotkeyOption::CtrlAlt;
    shown.text = hotkeyPrefix(shown.option);
    const size_t comma = stored.find(',');
    if (comma != std::string_view::npos) shown.text += characterOfCode(toNumber(stored.substr(comma + 1)));
    return shown;
}

int characterCode(QChar c) {
    if (c.unicode() < 128) return c.unicode();
    const Bytes bytes = gbk::fromUtf8(QString(c).toStdString());
    if (bytes.size() == 1) return static_cast<unsigned char>(bytes[0]);
    if (bytes.size() != 2) return '?';
    const int word = (static_cast<unsigned char>(bytes[0]) << 8) | static_cast<unsigned char>(bytes[1]);
    return word >= 0x8000 ? word - 0x10000 : word;
}

std::optional<Bytes> hotkeySaveValue(const QString& box) {
    if (box.isEmpty()) return std::nullopt;
    if (box.size() > 2) {
        const QString code = QString::number(characterCode(box.back()));
        return gbk::fromUtf8(box.left(box.size() - 2).toStdString()) + "," + code.toStdString();
    }
    return QString::number(characterCode(box.front())).toStdString();
}

HotkeyKeyPress hotkeyKeyPress(HotkeyOption option, const QString& box, QChar typed) {
    HotkeyKeyPress press;
    if (!isAsciiLetterOrDigit(typed)) return press;
    const bool digit = typed.isDigit();
    switch (option) {
        case HotkeyOption::Alt:
        case HotkeyOption::Ctrl:
        case HotkeyOption::CtrlAlt: {
            // One letter after the prefix: a second one starts the box over.
            const QString prefix = hotkeyPrefix(option);
            if (box.size() > prefix.size()) press.resetTo = prefix;
            if (!digit) press.insert = typed.toUpper();
            break;
        }
        case HotkeyOption::Function:
            if (!digit) break;
            if (box.size() >= 2) press.resetTo = hotkeyPrefix(option);
            press.insert = typed;
            break;
        case HotkeyOption::None:
            press.insert = typed;
            break;
    }
    return press;
}

Bytes transValueText(bool enabled, int percent) {
    return std::string(enabled ? "1" : "0") + "," + std::to_string(alphaOfPercent(percent)) + ",";
}

}  // namespace nq
