#include "desktop/auto_hide_model.h"

#include <cstdlib>

namespace nq {

namespace {
int sign(int v) {
    return (v > 0) - (v < 0);
}
}  // namespace

QPoint AutoHideModel::finalPosition(const QRect& frame) const {
    const int w = frame.width(), h = frame.height();
    // One pixel past the edge when out, so the border line does not show.
    switch (s_.where) {
        case 2:
            return {frame.x(), opened_ ? screen_.bottom() + 2 - h : screen_.bottom() + 1 - s_.pixelsSeen};
        case 3:
            return {opened_ ? -1 : s_.pixelsSeen - w, frame.y()};
        case 4:
            return {opened_ ? screen_.right() + 2 - w : screen_.right() + 1 - s_.pixelsSeen, frame.y()};
        default:
            return {frame.x(), opened_ ? -1 : s_.pixelsSeen - h};
    }
}

QPoint AutoHideModel::start(const QRect& frame) {
    hoverRunning_ = true;
    return finalPosition(frame);
}

std::optional<QPoint> AutoHideModel::setEnabled(bool enabled, const QRect& frame) {
    enabled_ = enabled;
    hoverRunning_ = enabled;
    if (!enabled) return std::nullopt;
    return finalPosition(frame);
}

std::optional<QPoint> AutoHideModel::hoverCheck(const AutoHideWindow& window, QPoint cursor) {
    if (window.minimized || !enabled_) return std::nullopt;
    const QRect& f = window.frame;
    const bool inside = cursor.x() >= f.left() && cursor.x() <= f.left() + f.width() &&
                        cursor.y() >= f.top() && cursor.y() <= f.top() + f.height();
    mouseOver_ = inside;
    return setOpen(inside, f);
}

std::optional<QPoint> AutoHideModel::setOpen(bool open, const QRect& frame) {
    if (open == opened_) return std::nullopt;
    opened_ = open;
    if (!s_.animate) return finalPosition(frame);
    const int w = frame.width(), h = frame.height(), seen = s_.pixelsSeen;
    int d = 0;
    switch (s_.where) {
        case 2:
            d = open ? seen - h : h - seen;
            break;
        case 3:
            d = open ? w - seen : seen - w;
            break;
        case 4:
            d = open ? seen - w : w - seen;
            break;
        default:
            d = open ? h - seen : seen - h;
            break;
    }
    distance_ = static_cast<std::int16_t>(d);
    vertical_ = s_.where == 1 || s_.where == 2;
    animationRunning_ = true;
    return std::nullopt;
}

std::optional<QPoint> AutoHideModel::animationTick(const AutoHideWindow& window) {
    // The whole trigger: only a window whose top stands above the screen is slid; one dragged
    // down from the edge is left where it is while the timer keeps running.
    if (window.frame.top() >= 0) return std::nullopt;
    if (window.maximized) return std::nullopt;
    hoverRunning_ = false;
    const int step = this->step();
    if (std::abs(distance_) <= step) {
        animationRunning_ = false;
        hoverRunning_ = true;
        return finalPosition(window.frame);
    }
    QPoint at = window.frame.topLeft();
    const int move = sign(distance_) * step;
    if (vertical_) {
        // The window does not slide out under the mouse: the distance runs down unmoved and the
        // final jump brings it out.
        if (!mouseOver_) at.ry() += move;
        if (at.y() * kTwipsPerPixel < kForgetMouseTopTwips) mouseOver_ = false;
    } else {
        at.rx() += move;
    }
    distance_ = static_cast<std::int16_t>(distance_ - move);
    return at;
}

}  // namespace nq
