#include "asset_maker/face_set.h"

#include <QImage>

#include <array>
#include <cmath>
#include <numbers>
#include <string>

#include "asset_maker/face_parts.h"

namespace nq::assets {

namespace {

using namespace face;

constexpr qreal kPi = std::numbers::pi;

// A spiral of two turns around an eye, turned by angle (degrees), for the dizzy face.
void spiralEye(QPainter& p, QPointF c, qreal angle) {
    QPainterPath s;
    for (int k = 0; k <= 40; ++k) {
        const qreal t = k / 40.0, a = angle * kPi / 180 + t * 4 * kPi, r = 0.3 + 2.5 * t;
        const QPointF q = c + QPointF(r * std::cos(a), r * std::sin(a));
        k == 0 ? s.moveTo(q) : s.lineTo(q);
    }
    p.setPen(inkPen(0.95));
    p.setBrush(Qt::NoBrush);
    p.drawPath(s);
}

// A dollar sign: an S with a bar through it.
void dollarEye(QPainter& p, QPointF c, QColor colour) {
    QPainterPath s(c + QPointF(1.5, -1.9));
    s.cubicTo(c + QPointF(0.4, -2.9), c + QPointF(-2.2, -2.1), c + QPointF(-1.3, -0.6));
    s.cubicTo(c + QPointF(-0.6, 0.4), c + QPointF(1.9, 0.2), c + QPointF(1.6, 1.5));
    s.cubicTo(c + QPointF(1.3, 2.9), c + QPointF(-1, 2.7), c + QPointF(-1.7, 1.8));
    p.setPen(inkPen(1.2, colour));
    p.setBrush(Qt::NoBrush);
    p.drawPath(s);
    p.drawLine(c + QPointF(0, -3.4), c + QPointF(0, 3.4));
}

// A question mark, its dot at bottom.
void questionMark(QPainter& p, QPointF bottom, qreal size) {
    const qreal s = size / 8;
    QPainterPath q(bottom + QPointF(-2 * s, -5.6 * s));
    q.cubicTo(bottom + QPointF(-2 * s, -8.4 * s), bottom + QPointF(2.4 * s, -8.4 * s),
              bottom + QPointF(2.2 * s, -5.8 * s));
    q.cubicTo(bottom + QPointF(2 * s, -4 * s), bottom + QPointF(0, -4 * s), bottom + QPointF(0, -2.2 * s));
    p.setPen(inkPen(1.5, QColor(0x2a, 0x6c, 0xd8)));
    p.setBrush(Qt::NoBrush);
    p.drawPath(q);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x2a, 0x6c, 0xd8));
    p.drawEllipse(bottom, 0.95, 0.95);
}

void smile(QPainter& p, int f) {
    head(p);
    eyes(p, std::array{1.0, 0.5, 0.0, 0.5}[size_t(f)]);
    curve(p, 8.6, 19.4, 17.6, 2.3);
}

void laugh(QPainter& p, int f) {
    p.translate(0, f ? -0.8 : 0.4);
    head(p);
    arcEyes(p, true);
    openMouth(p, 7.8, 20.2, 16.2, f ? 4.8 : 4);
    blush(p, 90);
}

void cry(QPainter& p, int f) {
    head(p);
    brows(p, -1.8, 9.2);
    arcEyes(p, false, 12.8);
    ovalMouth(p, QRectF(10.6, 18, 6.8, 4.2));
    // Two streams of drops running down, moved along one step per frame.
    for (int side = 0; side < 2; ++side)
        for (int k = 0; k < 2; ++k) {
            const qreal y = 13.5 + std::fmod(f * 3 + k * 6 + side * 1.5, 12);
            drop(p, QPointF(side ? 20.8 : 7.2, y), 4.2);
        }
}

void bye(QPainter& p, int f) {
    head(p, kYellow, {12.6, 14.5}, 11);
    eyes(p, 1, {-1.3, 0});
    openMouth(p, 8.4, 15.4, 17.4, 2.6);
    palm(p, {23.2, 27}, std::array{-24.0, -6.0, 12.0, -6.0}[size_t(f)], 1.3);
}

void angry(QPainter& p, int f) {
    head(p, kRed);
    brows(p, 2.6);
    eyes(p, 0.85, {0, 0.4});
    curve(p, 9.5, 18.5, 20, -1.8);
    // The cross of bulging veins over the brow, throbbing.
    const qreal s = f ? 1.3 : 1.0;
    p.setPen(inkPen(1.3, QColor(0xc8, 0x10, 0x10)));
    p.setBrush(Qt::NoBrush);
    const QPointF c(22, 5.5);
    for (int q = 0; q < 4; ++q) {
        p.save();
        p.translate(c);
        p.rotate(q * 90);
        p.scale(s, s);
        QPainterPath a(QPointF(0.8, -2.6));
        a.quadTo(0.8, -0.8, 2.6, -0.8);
        p.drawPath(a);
        p.restore();
    }
}

void shy(QPainter& p, int f) {
    head(p);
    blush(p, f ? 220 : 140);
    arcEyes(p, false, 12.6);
    curve(p, 11.4, 16.6, 18.8, 1);
}

void cool(QPainter& p, int f) {
    head(p);
    QPainterPath glasses;
    glasses.addRoundedRect(QRectF(5.6, 9.6, 7.8, 5.4), 2.4, 2.6);
    glasses.addRoundedRect(QRectF(14.6, 9.6, 7.8, 5.4), 2.4, 2.6);
    glasses.addRect(QRectF(4, 10.2, 20, 1.4));
    p.setPen(inkPen(0.8, QColor(0x10, 0x10, 0x18)));
    p.setBrush(QColor(0x22, 0x24, 0x30));
    p.drawPath(glasses.simplified());
    if (f > 0) {
        // The glint runs across the lenses.
        p.save();
        p.setClipPath(glasses);
        p.setPen(QPen(QColor(255, 255, 255, 230), 1.3));
        const qreal x = 2 + f * 6;
        p.drawLine(QPointF(x, 16), QPointF(x + 4, 9));
        p.restore();
    }
    QPainterPath mouth(QPointF(10, 18.8));
    mouth.quadTo(15, 20.8, 19.4, 17.4);
    p.setPen(inkPen(1.4));
    p.setBrush(Qt::NoBrush);
    p.drawPath(mouth);
}

void wink(QPainter& p, int f) {
    head(p);
    eye(p, 0);
    if (f)
        eye(p, 1);
    else
        arcEye(p, 1, true);
    openMouth(p, 9, 19, 17, 2.8);
}

void kiss(QPainter& p, int f) {
    head(p);
    arcEyes(p, false, 12.4);
    blush(p, 110);
    // Puckered lips: a small "3" on its side.
    QPainterPath lips(QPointF(13.2, 17.2));
    lips.quadTo(16.4, 17.4, 14.4, 18.9);
    lips.quadTo(16.4, 20.4, 13.2, 20.6);
    p.setPen(inkPen(1.3, QColor(0xb0, 0x20, 0x30)));
    p.setBrush(Qt::NoBrush);
    p.drawPath(lips);
    if (f > 0) heart(p, {17.5 + f * 1.5, 18 - f * 4.4}, 4 + f * 1.2);
}

void sleep(QPainter& p, int f) {
    head(p);
    arcEyes(p, false, 13);
    ovalMouth(p, QRectF(12.6, 18.2, 2.8, 2.2));
    letterZ(p, {19.5, 6.2 - f * 0.4}, 3.2);
    if (f >= 1) letterZ(p, {22, 2.4 - f * 0.3}, 4.2, f == 1 ? 0.7 : 1);
}

void sweat(QPainter& p, int f) {
    head(p);
    arcEyes(p, true);
    curve(p, 10.4, 17.6, 18.4, 0.4);
    drop(p, {22.4, 4.2 + f * 1.6}, 6, QColor(0x8c, 0xd0, 0xff));
}

void shock(QPainter& p, int f) {
    p.translate(f ? 0.7 : -0.7, 0);
    head(p);
    wideEyes(p, 1.05);
    ovalMouth(p, QRectF(11.4, 17, 5.2, 6.2));
    // Shock lines above the head.
    p.setPen(inkPen(1.1, QColor(0x35, 0x68, 0x9e)));
    p.drawLine(QPointF(5.6, 3.6), QPointF(4, 1.6));
    p.drawLine(QPointF(22.4, 3.6), QPointF(24, 1.6));
}

void tongue(QPainter& p, int f) {
    head(p);
    eye(p, 0);
    arcEye(p, 1, true);
    curve(p, 8.8, 19.2, 17.2, 1.6);
    const qreal x = f ? 15.6 : 12.4;
    QPainterPath t;
    t.addRoundedRect(QRectF(x - 2.2, 17.3, 4.4, 5.6), 2.2, 2.2);
    shape(p, t, QColor::fromRgba(kTongue), 0.9);
    p.setPen(inkPen(0.7, QColor(0xc0, 0x40, 0x48)));
    p.drawLine(QPointF(x, 18.6), QPointF(x, 21));
}

void sad(QPainter& p, int f) {
    head(p);
    brows(p, -1.6, 9.4);
    eyes(p, f ? 0.0 : 1.0, {0, 0.6});
    curve(p, 10, 18, 20.6, -1.6);
}

void love(QPainter& p, int f) {
    head(p);
    for (const qreal x : kEyeX) face::heart(p, {x, kEyeY}, f ? 7.4 : 6.2);
    openMouth(p, 10, 18, 17.6, 2.6);
}

void dizzy(QPainter& p, int f) {
    head(p);
    for (const qreal x : kEyeX) spiralEye(p, {x, kEyeY}, f * 90);
    QPainterPath wave(QPointF(9.4, 19));
    for (int k = 0; k < 4; ++k) wave.quadTo(10.6 + k * 2.4, k % 2 ? 20.6 : 17.4, 11.8 + k * 2.4, 19);
    p.setPen(inkPen(1.2));
    p.drawPath(wave);
}

void grin(QPainter& p, int f) {
    head(p);
    eyes(p, f ? 0.0 : 1.0);
    teethGrin(p, 7.4, 20.6, 16.4, 4.4);
}

void puke(QPainter& p, int f) {
    head(p, kGreen);
    // Eyes squeezed shut: > <
    p.setPen(inkPen(1.3));
    p.drawPolyline(QPolygonF{{8.2, 10.6}, {11, 12.2}, {8.2, 13.8}});
    p.drawPolyline(QPolygonF{{19.8, 10.6}, {17, 12.2}, {19.8, 13.8}});
    ovalMouth(p, QRectF(11, 16.6, 6, 4.4));
    QPainterPath spew(QPointF(12, 19));
    const qreal len = std::array{4.0, 7.0, 9.0}[size_t(f)];
    spew.cubicTo(10.4, 19 + len * 0.6, 9.6, 19 + len, 12.4, 19 + len);
    spew.cubicTo(14, 19 + len, 16.4, 19 + len, 16, 19);
    spew.closeSubpath();
    shape(p, spew, QColor(0x8c, 0xc8, 0x30), 0.9);
}

void think(QPainter& p, int f) {
    head(p);
    eyes(p, 1, {0.9, -0.9});
    curve(p, 11.4, 17, 19.4, -0.3);
    palm(p, {8.6, 28.4}, 22, 0.9);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x2a, 0x6c, 0xd8));
    for (int k = 0; k < f; ++k) p.drawEllipse(QPointF(19 + k * 3, 3.2), 1.1, 1.1);
}

void what(QPainter& p, int f) {
    head(p, kYellow, {12.5, 15}, 11);
    p.setPen(inkPen(1.3));
    p.setBrush(Qt::NoBrush);
    QPainterPath high(QPointF(6.4, 9.2));
    high.quadTo(8.5, 6.6, 11, 8.2);
    p.drawPath(high);
    p.drawLine(QPointF(14, 10), QPointF(18.4, 10.2));
    p.save();
    p.translate(-1.5, 0.5);
    eyes(p);
    p.restore();
    curve(p, 9.6, 15.4, 19.6, -0.5);
    questionMark(p, {23.2, f ? 10.6 : 11.6}, 10);
}

void yawn(QPainter& p, int f) {
    head(p);
    arcEyes(p, false, 11.8);
    const qreal open = std::array{0.3, 1.0, 0.85, 0.3}[size_t(f)];
    ovalMouth(p, QRectF(14 - 2.4 - 1.4 * open, 16.8, 4.8 + 2.8 * open, 2 + 5.6 * open));
    if (open > 0.5) drop(p, {21.6, 11.4}, 3.4);
}

void evil(QPainter& p, int f) {
    for (const int side : {-1, 1}) {
        QPainterPath horn(QPointF(14 + side * 4.6, 4.8));
        horn.quadTo(14 + side * 9, 3.6, 14 + side * 10.6, -0.4);
        horn.quadTo(14 + side * 10, 5.6, 14 + side * 8.4, 7.6);
        horn.closeSubpath();
        shape(p, horn, QColor(0xd8, 0x2c, 0x2c), 0.9);
    }
    head(p, kPurple);
    brows(p, 2.2, 9.6);
    eyes(p, 0.7);
    QPainterPath smirk(QPointF(8.6, 17.4));
    smirk.cubicTo(12, 21.4, 17, 21, 19.8, 16.4);
    p.setPen(inkPen(1.4));
    p.drawPath(smirk);
    if (f) sparkle(p, {20.4, 10.4}, 2.4, Qt::white);
}

void angel(QPainter& p, int f) {
    head(p, kYellow, {14, 16}, 10.8);
    arcEyes(p, false, 14);
    curve(p, 9.6, 18.4, 19.4, 1.8);
    blush(p, 80);
    const qreal y = f ? 2.4 : 3.2;
    p.setPen(QPen(QColor(0xe0, 0xa8, 0x10), 1.7));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(14, y), 6.6, 1.9);
    p.setPen(QPen(QColor(0xff, 0xee, 0x80), 0.7));
    p.drawEllipse(QPointF(14, y), 6.6, 1.9);
}

void nerd(QPainter& p, int f) {
    head(p);
    eyes(p, f ? 0.0 : 0.8);
    p.setPen(inkPen(1.3, QColor(0x20, 0x20, 0x28)));
    p.setBrush(QColor(255, 255, 255, 70));
    for (const qreal x : kEyeX) p.drawEllipse(QPointF(x, kEyeY), 3.6, 3.6);
    p.drawLine(QPointF(13.4, 11.6), QPointF(14.6, 11.6));
    curve(p, 9.4, 18.6, 18, 1.6);
    p.setPen(inkPen(0.8));
    p.setBrush(Qt::white);
    p.drawRect(QRectF(12.2, 19.1, 1.8, 2.1));
    p.drawRect(QRectF(14, 19.1, 1.8, 2.1));
}

void ill(QPainter& p, int f) {
    head(p, Skin{0xfff4f4b0, 0xffbcd070, 0xff6e8a24});
    brows(p, -1.4, 9.6);
    eyes(p, 0.5, {0, 0.5});
    curve(p, 10.4, 16.4, 19.4, -0.8);
    // A thermometer from the corner of the mouth; its red rises and falls.
    p.save();
    p.translate(16.6, 19.2);
    p.rotate(-30);
    QPainterPath glass;
    glass.addRoundedRect(QRectF(0, -1.1, 10.4, 2.2), 1.1, 1.1);
    shape(p, glass, QColor(0xf4, 0xf8, 0xff), 0.8);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xe0, 0x20, 0x20));
    p.drawRoundedRect(QRectF(0.4, -0.5, f ? 8 : 5, 1), 0.5, 0.5);
    p.drawEllipse(QPointF(0.9, 0), 1.2, 1.2);
    p.restore();
    drop(p, {21.8, 6}, 4.6, QColor(0x8c, 0xd0, 0xff));
}

void zip(QPainter& p, int f) {
    head(p);
    eyes(p, 1, {f ? 1.2 : -1.2, 0});
    p.setPen(inkPen(1.3));
    p.drawLine(QPointF(8.6, 19), QPointF(19.4, 19));
    p.setPen(inkPen(0.8));
    for (qreal x = 9.6; x < 19; x += 1.6) p.drawLine(QPointF(x, 17.8), QPointF(x, 20.2));
    p.setPen(inkPen(0.9, QColor(0x60, 0x60, 0x68)));
    p.setBrush(QColor(0xc8, 0xcc, 0xd4));
    p.drawRoundedRect(QRectF(18.6, 18.2, 2.4, 4), 0.8, 0.8);
}

void faint(QPainter& p, int f) {
    head(p);
    crossEyes(p);
    ovalMouth(p, QRectF(11.4, 17.6, 5.2, 3.4));
    QPainterPath t;
    t.addRoundedRect(QRectF(13.4, 19.4, 3.4, 4.2), 1.7, 1.7);
    shape(p, t, QColor::fromRgba(kTongue), 0.8);
    for (int k = 0; k < 3; ++k) {
        const qreal a = (f * 40 + k * 120) * kPi / 180;
        sparkle(p, {14 + 8 * std::cos(a), 3.4 + 1.8 * std::sin(a)}, 2.2, QColor(0xff, 0xb0, 0x10));
    }
}

void money(QPainter& p, int f) {
    head(p);
    const QColor green(0x18, 0x9a, 0x3a), gold(0xd8, 0x8c, 0x00);
    for (const qreal x : kEyeX) dollarEye(p, {x, kEyeY}, f ? gold : green);
    openMouth(p, 8.4, 19.6, 17, 3.6);
}

void drool(QPainter& p, int f) {
    head(p);
    eyes(p, 1, {0, -1});
    openMouth(p, 9.6, 18.4, 17, 2.4);
    drop(p, {17.6, 19}, std::array{2.6, 4.4, 6.4}[size_t(f)], QColor(0xb8, 0xe4, 0xff));
}

void fear(QPainter& p, int f) {
    p.translate(f ? 0.6 : -0.6, 0);
    head(p);
    // The upper face drained of colour.
    p.save();
    p.setClipRect(QRectF(0, 0, kSide, 11));
    head(p, kBlue);
    p.restore();
    for (int k = 0; k < 3; ++k) {
        p.setPen(inkPen(0.9, QColor(0x35, 0x68, 0x9e)));
        p.drawLine(QPointF(9.5 + k * 4.5, 4.2), QPointF(9.5 + k * 4.5, 8.2));
    }
    wideEyes(p, 0.7);
    QPainterPath wave(QPointF(8.8, 19.4));
    for (int k = 0; k < 5; ++k) wave.lineTo(10 + k * 2.2, k % 2 ? 19.4 : 17.8);
    p.setPen(inkPen(1.2));
    p.drawPath(wave);
}

void pout(QPainter& p, int f) {
    head(p, kYellow, kCentre, f ? 12.2 : 11.6);
    brows(p, 1.6, 9);
    eyes(p, 0.9);
    blush(p, f ? 190 : 120);
    QPainterPath lips(QPointF(12.2, 19.4));
    lips.quadTo(14, 17.6, 15.8, 19.4);
    p.setPen(inkPen(1.4));
    p.setBrush(Qt::NoBrush);
    p.drawPath(lips);
}

void hug(QPainter& p, int f) {
    head(p, kYellow, {14, 13}, 10.6);
    p.translate(0, -1.4);
    arcEyes(p, true);
    curve(p, 9.6, 18.4, 17, 2);
    blush(p, 150);
    p.resetTransform();
    const qreal in = f ? 1.2 : 0;
    palm(p, {3.6 + in, 27}, 35, 0.95);
    palm(p, {24.4 - in, 27}, -35, 0.95);
}

void lol(QPainter& p, int f) {
    p.translate(14, 14);
    p.rotate(f ? 12 : -12);
    p.translate(-14, -14);
    head(p);
    p.setPen(inkPen(1.4));
    p.drawPolyline(QPolygonF{{7.8, 10.4}, {11, 12.2}, {7.8, 14}});
    p.drawPolyline(QPolygonF{{20.2, 10.4}, {17, 12.2}, {20.2, 14}});
    openMouth(p, 7.8, 20.2, 16, 4.6);
    p.save();
    p.translate(3.2, 12);
    p.rotate(60);
    drop(p, {0, 0}, 4.6);
    p.restore();
    p.save();
    p.translate(24.8, 12);
    p.rotate(-60);
    drop(p, {0, 0}, 4.6);
    p.restore();
}

void gg(QPainter& p, int f) {
    head(p, kYellow, {12, 15.2}, 10.8);
    p.save();
    p.translate(-2, 0.8);
    brows(p, -1.8, 9.2);
    eyes(p, 0.8, {0, 0.5});
    curve(p, 10.6, 16.6, 19.4, 0.7);
    p.restore();
    // A white flag on a pole held up at the side.
    p.setPen(inkPen(1.3, QColor(0x7a, 0x4a, 0x1c)));
    p.drawLine(QPointF(22.4, 27.4), QPointF(22.4, 1.2));
    const qreal w = std::array{0.0, 1.4, -1.0}[size_t(f)];
    QPainterPath flag(QPointF(22.8, 1.6));
    flag.cubicTo(24.4, 0.6 - w, 25.8, 3 + w, 27.6, 1.8);
    flag.lineTo(27.6, 8);
    flag.cubicTo(25.8, 9.2 + w, 24.4, 6.8 - w, 22.8, 7.8);
    flag.closeSubpath();
    p.setPen(inkPen(0.9, QColor(0x88, 0x90, 0x9c)));
    p.setBrush(Qt::white);
    p.drawPath(flag);
}

void bored(QPainter& p, int f) {
    head(p);
    for (const qreal x : kEyeX) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor::fromRgba(kInk));
        if (!f) p.drawChord(QRectF(x - 1.6, kEyeY - 2, 3.2, 4), 180 * 16, 180 * 16);
        p.setPen(inkPen(1.2));
        p.drawLine(QPointF(x - 2.2, kEyeY + (f ? 0.4 : 0)), QPointF(x + 2.2, kEyeY + (f ? 0.4 : 0)));
    }
    p.setPen(inkPen(1.4));
    p.drawLine(QPointF(10.4, 19), QPointF(17.6, 19));
}

void proud(QPainter& p, int f) {
    p.translate(0, -0.6);
    head(p);
    arcEyes(p, false, 11);
    curve(p, 9.6, 18.4, 16.6, 1.6);
    // Nose in the air, and a star of self-satisfaction.
    p.setPen(inkPen(1));
    p.drawLine(QPointF(13.4, 14), QPointF(14.6, 14.4));
    sparkle(p, {22.6, 4.8}, f ? 3.6 : 2.4, QColor(0xff, 0xc4, 0x1a));
}

}  // namespace

const std::vector<FaceDef>& faceSet() {
    static const std::vector<FaceDef> kSet = {
        {"smile", {250, 6, 8, 6}, smile},
        {"laugh", {14, 14}, laugh},
        {"cry", {12, 12, 12, 12}, cry},
        {"bye", {16, 16, 16, 16}, bye},
        {"angry", {22, 22}, angry},
        {"shy", {45, 45}, shy},
        {"cool", {220, 5, 5, 5}, cool},
        {"wink", {150, 40}, wink},
        {"kiss", {40, 16, 16, 16}, kiss},
        {"sleep", {45, 45, 45}, sleep},
        {"sweat", {30, 30, 30}, sweat},
        {"shock", {7, 7}, shock},
        {"tongue", {24, 24}, tongue},
        {"sad", {240, 10}, sad},
        {"love", {30, 30}, love},
        {"dizzy", {10, 10, 10, 10}, dizzy},
        {"grin", {220, 8}, grin},
        {"puke", {20, 15, 25}, puke},
        {"hmm", {35, 35, 35, 70}, think},
        {"what", {30, 30}, what},
        {"yawn", {35, 60, 30, 80}, yawn},
        {"evil", {140, 14}, evil},
        {"angel", {35, 35}, angel},
        {"nerd", {220, 8}, nerd},
        {"ill", {45, 45}, ill},
        {"zip", {70, 70}, zip},
        {"faint", {14, 14, 14}, faint},
        {"money", {22, 22}, money},
        {"drool", {35, 35, 60}, drool},
        {"fear", {6, 6}, fear},
        {"pout", {45, 45}, pout},
        {"hug", {30, 30}, hug},
        {"lol", {12, 12}, lol},
        {"gg", {18, 18, 18}, gg},
        {"bored", {260, 30}, bored},
        {"proud", {45, 45}, proud},
        {"rose", {1}, things::rose},
        {"heart", {50, 12, 12, 12}, things::heart},
        {"broken", {70, 70}, things::broken},
        {"good", {28, 28}, things::good},
        {"bad", {28, 28}, things::bad},
        {"beer", {25, 25, 25}, things::beer},
        {"cake", {18, 18}, things::cake},
        {"sun", {40, 40}, things::sun},
        {"moon", {60, 60}, things::moon},
        {"bomb", {10, 10, 10}, things::bomb},
        {"gift", {1}, things::gift},
        {"pig", {230, 8}, things::pig},
    };
    return kSet;
}

std::vector<GifFrame> faceFrames(const FaceDef& face) {
    std::vector<GifFrame> frames;
    for (size_t f = 0; f < face.delaysCs.size(); ++f) {
        QImage img(kSide, kSide, QImage::Format_ARGB32_Premultiplied);
        img.fill(Qt::transparent);
        {
            QPainter p(&img);
            p.setRenderHint(QPainter::Antialiasing);
            face.paint(p, int(f));
        }
        // A still picture has one frame and no delay.
        frames.push_back({img, face.delaysCs.size() > 1 ? face.delaysCs[f] : 0});
    }
    return frames;
}

QByteArray keywordFile() {
    const std::vector<FaceDef>& set = faceSet();
    QByteArray out = "[face]\r\nnum=" + QByteArray::number(qsizetype(set.size())) + "\r\n";
    for (size_t i = 0; i < set.size(); ++i)
        out += QByteArray::number(qsizetype(i)) + "=" + set[i].keyword + "\r\n";
    out += "[key]\r\n";
    for (size_t i = 0; i < set.size(); ++i)
        out += QByteArray(set[i].keyword) + "=" + QByteArray::number(qsizetype(i)) + "\r\n";
    return out;
}

}  // namespace nq::assets
