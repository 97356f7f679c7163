#include "desktop/window_services.h"

#include <QWidget>

#include <cmath>
#include <vector>

#include "wire/fields.h"

namespace nq {

namespace {

std::vector<std::string_view> splitAtCommas(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) return parts;
        text.remove_prefix(comma + 1);
    }
}

// Whether the text starts, after blanks, with a number at all; "x" would read as 0, and an
// alpha of 0 from a damaged file would make the window invisible.
bool startsWithNumber(std::string_view text) {
    size_t i = text.find_first_not_of(" \t");
    if (i == std::string_view::npos) return false;
    if (text[i] == '+' || text[i] == '-') ++i;
    if (i < text.size() && text[i] == '.') ++i;
    return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

}  // namespace

void SetTopMost(QWidget* window, bool enable) {
    if (window == nullptr) return;
    if (window->windowFlags().testFlag(Qt::WindowStaysOnTopHint) == enable) {
        if (window->isVisible()) window->raise();
        return;
    }
    const bool visible = window->isVisible();
    const QRect geometry = window->geometry();
    window->setWindowFlag(Qt::WindowStaysOnTopHint, enable);
    if (visible) {
        window->setGeometry(geometry);
        window->show();
        window->raise();
    }
}

void SetTransparency(QWidget* window, std::uint8_t alpha) {
    if (window == nullptr) return;
    window->setWindowOpacity(effectiveAlpha(alpha) / 255.0);
}

TransValue parseTransValue(std::string_view text) {
    TransValue value;
    const std::vector<std::string_view> parts = splitAtCommas(text);
    value.enabled = toNumber(parts[0]) == 1.0;
    if (parts.size() >= 2 && startsWithNumber(parts[1])) {
        // A byte conversion rounds half to even and refuses what falls outside 0..255.
        const double alpha = std::nearbyint(toNumber(parts[1]));
        if (alpha >= 0.0 && alpha <= 255.0) value.alpha = static_cast<std::uint8_t>(alpha);
    }
    return value;
}

bool applyStoredTransparency(QWidget* window, std::string_view transValueText) {
    const TransValue value = parseTransValue(transValueText);
    if (!value.enabled || !value.alpha) return false;
    SetTransparency(window, *value.alpha);
    return true;
}

}  // namespace nq
