#pragma once
// The pieces the chat faces are drawn from. Coordinates are pixels of the 28 x 28 picture; the
// head is a disc around (14, 14.5), eyes sit on y = 12.5 at x = 10 and 18, the mouth below y = 17.
// Shapes are thick and dark enough to read at 1:1 beside text.

#include <QColor>
#include <QPainter>
#include <QPainterPath>

namespace nq::assets::face {

inline constexpr int kSide = 28;
inline constexpr QPointF kCentre{14, 14.5};
inline constexpr qreal kRadius = 11.6;
inline constexpr qreal kEyeY = 12.3;
inline constexpr qreal kEyeX[2] = {10, 18};

// A head colour: light at the upper left, deeper at the rim, and its outline.
struct Skin {
    QRgb light, deep, outline;
};
inline constexpr Skin kYellow{0xfffff07a, 0xfff6b129, 0xffb06a0c};
inline constexpr Skin kRed{0xffffb08a, 0xffe8452c, 0xff9c1f10};
inline constexpr Skin kGreen{0xffe6f59a, 0xff9cc93c, 0xff5b7d18};
inline constexpr Skin kBlue{0xffd8f0ff, 0xff7fb2e8, 0xff35689e};
inline constexpr Skin kPurple{0xffe2b8ff, 0xff9656d6, 0xff55208c};
inline constexpr Skin kPink{0xffffd6e0, 0xfff59ab4, 0xffb84f6e};

inline constexpr QRgb kInk = 0xff3b230f;    // eyes, brows and mouth lines
inline constexpr QRgb kMouth = 0xff9a2a1a;  // inside an open mouth
inline constexpr QRgb kTongue = 0xfff0787a;
inline constexpr QRgb kTear = 0xff4aa8ff;
inline constexpr QRgb kHeart = 0xffe8283c;
inline constexpr QRgb kHandFill = 0xffffcf48;
inline constexpr QRgb kHandLine = 0xffa8620a;

QPen inkPen(qreal width, QColor colour = QColor::fromRgba(kInk));

void head(QPainter& p, const Skin& skin = kYellow, QPointF centre = kCentre, qreal radius = kRadius);

// Two dark ovals; open 1 is wide open, 0 a closed line. look moves the pupils (pixels).
void eyes(QPainter& p, qreal open = 1, QPointF look = {});
// One eye of the pair (0 left, 1 right).
void eye(QPainter& p, int which, qreal open = 1, QPointF look = {});
// Laughing arcs ^ ^ (up) or sleeping arcs u u (down).
void arcEyes(QPainter& p, bool up, qreal y = kEyeY);
void arcEye(QPainter& p, int which, bool up, qreal y = kEyeY);
// White eyeballs with pupils, for surprise and fear.
void wideEyes(QPainter& p, qreal pupil = 1.5, QPointF look = {});
void crossEyes(QPainter& p);
// Slanted brows: angry (inner ends down) or worried (inner ends up); tilt in pixels.
void brows(QPainter& p, qreal tilt, qreal y = 8.6);

// A curved line from x0 to x1 at y, bending by depth (positive: a smile, negative: a frown).
void curve(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth, qreal width = 1.4);
// An open laughing mouth: flat top from x0 to x1 at y, round bottom depth below, with tongue.
void openMouth(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth);
// An open oval mouth.
void ovalMouth(QPainter& p, QRectF box);
// A wide grin showing the upper teeth.
void teethGrin(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth);

void blush(QPainter& p, int alpha = 150);
// A drop of water hanging from top, size its height.
void drop(QPainter& p, QPointF top, qreal size, QColor colour = QColor::fromRgba(kTear));
QPainterPath heartPath(QPointF centre, qreal size);
void heart(QPainter& p, QPointF centre, qreal size, QColor colour = QColor::fromRgba(kHeart));
// A small yellow hand: an open palm raised at angle degrees, its wrist at wrist.
void palm(QPainter& p, QPointF wrist, qreal angle, qreal scale = 1);
// A fist with the thumb up (up) or down, its centre at centre.
void thumb(QPainter& p, QPointF centre, bool up, qreal scale = 1);
// A four-pointed sparkle.
void sparkle(QPainter& p, QPointF centre, qreal size, QColor colour);
// A letter Z drawn with strokes, size its height.
void letterZ(QPainter& p, QPointF topLeft, qreal size, qreal alpha = 1);

// Fills and outlines a path: the fill shaded top to bottom, the outline darker.
void shape(QPainter& p, const QPainterPath& path, const QColor& fill, qreal line = 1.1);

}  // namespace nq::assets::face
