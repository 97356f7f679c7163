#pragma once
// The edge auto-hide of a top-level window, without timers or a screen: the two timers are
// flags that the caller mirrors, and each step answers where the window must go. Positions are
// pixels; the thresholds the behaviour was designed with in twips are converted at 15 twips a
// pixel, whatever the screen says.

#include <QPoint>
#include <QRect>
#include <cstdint>
#include <optional>

#include "widgets/twips.h"

namespace nq {

struct AutoHideSettings {
    int pixelsSeen = 2;      // pixels of the hidden window left on screen
    int pixelsPerSec = 250;  // slide speed
    int detailMs = 50;       // animation timer interval, milliseconds
    bool alwaysOnTop = true;
    int where = 1;  // 1 top, 2 bottom, 3 left, 4 right
    bool animate = true;
};

// What the model needs to know about the window at each step.
struct AutoHideWindow {
    QRect frame;  // outer rectangle on screen
    bool minimized = false;
    bool maximized = false;
};

class AutoHideModel {
  public:
    static constexpr int kHoverIntervalMs = 200;
    // Past this top (twips) a slide that goes up forgets that the mouse was over the window.
    static constexpr int kForgetMouseTopTwips = -4000;

    explicit AutoHideModel(AutoHideSettings settings = {}) : s_(settings) {}

    const AutoHideSettings& settings() const { return s_; }
    // `screen` only matters for the bottom and right edges, whose hidden place depends on it.
    void setScreen(const QRect& screen) { screen_ = screen; }

    bool opened() const { return opened_; }
    bool enabled() const { return enabled_; }
    bool mouseOver() const { return mouseOver_; }
    std::int16_t distance() const { return distance_; }
    bool hoverRunning() const { return hoverRunning_; }
    bool animationRunning() const { return animationRunning_; }

    // Where the window stands when fully out (opened) or fully in, its size unchanged.
    [[nodiscard]] QPoint finalPosition(const QRect& frame) const;

    // The load at run time: the hover check starts and the window goes to its final place.
    QPoint start(const QRect& frame);
    // false stops the hover check and leaves the window; true puts it at its final place and
    // starts the hover check.
    std::optional<QPoint> setEnabled(bool enabled, const QRect& frame);

    // The 200 ms check: cursor inside the frame (edges included) opens, outside closes.
    std::optional<QPoint> hoverCheck(const AutoHideWindow& window, QPoint cursor);
    // One animation step every detailMs.
    std::optional<QPoint> animationTick(const AutoHideWindow& window);
    // OpenPanel / ClosePanel.
    std::optional<QPoint> setOpen(bool open, const QRect& frame);

    // Pixels moved per animation step.
    int step() const { return s_.pixelsPerSec * s_.detailMs / 1000; }

  private:
    AutoHideSettings s_;
    QRect screen_;
    bool opened_ = false;
    bool enabled_ = true;
    bool mouseOver_ = false;
    bool vertical_ = true;
    std::int16_t distance_ = 0;
    bool hoverRunning_ = false;
    bool animationRunning_ = false;
};

}  // namespace nq
