#pragma once
// CGradient: the two-colour linear gradient at any angle that the program paints on window
// backgrounds (the toast, the button kit).
//
// The toast's entry point is nq::ShowPopup in desktop/show_popup.h, not a member here: the widget
// kit must not depend on the desktop library that holds the toast window.

#include <QColor>
#include <QPointF>

#include <cstdint>
#include <vector>

class QPaintDevice;
class QPainter;
class QWidget;

namespace nq {

// A colour in the Windows byte order: red in the low byte, green in the middle byte, blue in
// the high byte, so 0xFF0000 is blue.
using WinColor = std::uint32_t;

constexpr WinColor winRgb(int red, int green, int blue) {
    return static_cast<WinColor>(red & 0xFF) | static_cast<WinColor>(green & 0xFF) << 8 |
           static_cast<WinColor>(blue & 0xFF) << 16;
}
constexpr int winRed(WinColor c) {
    return static_cast<int>(c & 0xFF);
}
constexpr int winGreen(WinColor c) {
    return static_cast<int>((c >> 8) & 0xFF);
}
constexpr int winBlue(WinColor c) {
    return static_cast<int>((c >> 16) & 0xFF);
}

QColor toQColor(WinColor c);

// The two end points of the gradient line, in pixels of the painted surface.
struct GradientLine {
    QPointF start;  // where the first colour sits
    QPointF end;    // where the second colour sits
};

class CGradient {
  public:
    static constexpr WinColor kDefaultColor1 = winRgb(208, 255, 255);
    static constexpr WinColor kDefaultColor2 = winRgb(0, 0, 64);
    static constexpr float kDefaultAngle = 315.0F;

    CGradient() = default;

    WinColor color1() const { return color1_; }
    void setColor1(WinColor c) { color1_ = c; }
    WinColor color2() const { return color2_; }
    void setColor2(WinColor c) { color2_ = c; }
    float angle() const { return angle_; }
    void setAngle(float degrees) { angle_ = degrees; }

    // Paints the widget's whole client area and keeps the picture as the widget's background
    // (it survives repaints, as a persistent picture box would). False when the widget is null
    // or its width or height is 1 pixel or less: then nothing changes.
    bool Draw(QWidget* surface) const;

    // Paints a pixmap, image or other paint device over its whole area; the same size rule.
    bool Draw(QPaintDevice* surface) const;

    // Paints the rectangle (0, 0, width, height) in pixels with this gradient.
    void render(QPainter& painter, int width, int height) const;

    // The gradient line for a surface of width x height pixels at the given angle in degrees.
    [[nodiscard]] static GradientLine gradientLine(int width, int height, float angle);

    // The angle + 180, reduced into [0, 360) by whole turns.
    [[nodiscard]] static double effectiveAngle(float angle);

    // The colour table from start to end with the given number of entries (raised to 2).
    [[nodiscard]] static std::vector<WinColor> colourTable(WinColor start, WinColor end, int steps);

  private:
    WinColor color1_ = kDefaultColor1;
    WinColor color2_ = kDefaultColor2;
    float angle_ = kDefaultAngle;
};

}  // namespace nq
