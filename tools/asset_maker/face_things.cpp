// The faces that are things: flowers, hearts, hands, food and the like.

#include <array>
#include <cmath>
#include <numbers>

#include "asset_maker/face_parts.h"
#include "asset_maker/face_set.h"

namespace nq::assets::things {

using namespace face;

namespace {

constexpr qreal kPi = std::numbers::pi;

QPainterPath leaf(QPointF base, qreal angle, qreal length) {
    const qreal a = angle * kPi / 180;
    const QPointF tip = base + QPointF(length * std::cos(a), -length * std::sin(a));
    const QPointF side(-std::sin(a) * length * 0.4, -std::cos(a) * length * 0.4);
    QPainterPath l(base);
    l.quadTo((base + tip) / 2 + side, tip);
    l.quadTo((base + tip) / 2 - side, base);
    return l;
}

}  // namespace

void rose(QPainter& p, int) {
    p.setPen(inkPen(1.5, QColor(0x2e, 0x7d, 0x32)));
    p.setBrush(Qt::NoBrush);
    QPainterPath stem(QPointF(13.6, 13));
    stem.cubicTo(13, 18, 15.4, 21, 14, 27.4);
    p.drawPath(stem);
    shape(p, leaf({14.2, 20.6}, 25, 7.4), QColor(0x4c, 0xaf, 0x50), 0.9);
    shape(p, leaf({13.8, 23}, 160, 6.4), QColor(0x4c, 0xaf, 0x50), 0.9);
    // The bloom: outer petals, then the tight centre, each a darker red.
    QPainterPath outer;
    outer.addEllipse(QRectF(6.4, 2.6, 14.8, 12.4));
    shape(p, outer, QColor(0xe0, 0x24, 0x38), 1.1);
    p.setPen(inkPen(1.1, QColor(0x8c, 0x0c, 0x1c)));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(9, 4.4, 9.6, 8.4), 200 * 16, 200 * 16);
    p.drawArc(QRectF(10.8, 5.6, 6.2, 5.2), 20 * 16, 250 * 16);
    p.drawArc(QRectF(12.4, 6.6, 3.2, 2.8), 180 * 16, 270 * 16);
}

void heart(QPainter& p, int frame) {
    const qreal size = std::array{21.0, 24.5, 21.0, 23.5}[size_t(frame)];
    face::heart(p, {14, 14.4}, size);
}

void broken(QPainter& p, int frame) {
    const QPainterPath whole = heartPath({14, 14.6}, 22);
    QPainterPath crack(QPointF(14, 2));
    for (const QPointF q : {QPointF(12.4, 8), QPointF(15.6, 12.4), QPointF(12.6, 17), QPointF(14.6, 21),
                            QPointF(14, 28), QPointF(-2, 28), QPointF(-2, 2)})
        crack.lineTo(q);
    crack.closeSubpath();
    const qreal apart = frame ? 1.6 : 0.5;
    for (const int side : {-1, 1}) {
        p.save();
        p.translate(14 + side * apart, 26);
        p.rotate(side * apart * 4);
        p.translate(-14, -26);
        const QPainterPath half = side < 0 ? whole.intersected(crack) : whole.subtracted(crack);
        shape(p, half, QColor(0xb8, 0x20, 0x34), 1.1);
        p.restore();
    }
}

void good(QPainter& p, int frame) {
    thumb(p, {14, 14 - (frame ? 1.2 : 0)}, true, 1.45);
}

void bad(QPainter& p, int frame) {
    thumb(p, {14, 14 + (frame ? 1.2 : 0)}, false, 1.45);
}

void beer(QPainter& p, int frame) {
    // The handle, then the glass with its beer and foam.
    p.setPen(inkPen(2.2, QColor(0xb0, 0x78, 0x10)));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(17.6, 10.6, 6.6, 9.6), 3, 3);
    QPainterPath glass;
    glass.addRoundedRect(QRectF(5, 7.6, 14, 18.6), 2, 2);
    shape(p, glass, QColor(0xf7, 0xb5, 0x1c), 1.2);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 200));
    for (int k = 0; k < 3; ++k) {
        const qreal y = 23 - std::fmod(frame * 4 + k * 5, 13);
        p.drawEllipse(QPointF(8.6 + k * 3.2, y), 0.9, 0.9);
    }
    QPainterPath foam;
    for (int k = 0; k < 4; ++k) foam.addEllipse(QPointF(6.6 + k * 3.6, 7.4 - (k % 2) * 0.8), 3, 2.8);
    shape(p, foam.simplified(), QColor(0xfc, 0xfa, 0xf2), 1);
}

void cake(QPainter& p, int frame) {
    QPainterPath body;
    body.addRoundedRect(QRectF(3.6, 15, 20.8, 10.6), 2, 2);
    shape(p, body, QColor(0xf6, 0xc8, 0x8a), 1.1);
    QPainterPath icing(QPointF(3.6, 15.6));
    icing.cubicTo(3.6, 13.2, 24.4, 13.2, 24.4, 15.6);
    for (int k = 0; k < 5; ++k) icing.quadTo(22.3 - k * 4.16, 21 - (k % 2) * 2, 20.2 - k * 4.16, 17.4);
    icing.closeSubpath();
    shape(p, icing, QColor(0xff, 0x8a, 0xb4), 1);
    p.setPen(inkPen(0.9, QColor(0x30, 0x60, 0xb0)));
    p.setBrush(QColor(0x7c, 0xb8, 0xff));
    p.drawRect(QRectF(12.8, 6.6, 2.4, 7.6));
    // The flame leans one way, then the other.
    const qreal lean = frame ? 0.9 : -0.9;
    QPainterPath flame(QPointF(14 + lean * 1.6, 0.8));
    flame.cubicTo(16.6, 3.6, 16, 6.2, 14, 6.2);
    flame.cubicTo(12, 6.2, 11.4, 3.6, 14 + lean * 1.6, 0.8);
    p.setPen(inkPen(0.6, QColor(0xe0, 0x60, 0x00)));
    p.setBrush(QColor(0xff, 0xc4, 0x1a));
    p.drawPath(flame);
}

void sun(QPainter& p, int frame) {
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xff, 0x9c, 0x10));
    for (int k = 0; k < 8; ++k) {
        p.save();
        p.translate(14, 14);
        p.rotate(k * 45 + frame * 22.5);
        p.drawPolygon(QPolygonF{{-2, -8.6}, {0, -13.6}, {2, -8.6}});
        p.restore();
    }
    head(p, Skin{0xfffff3a0, 0xffffc21a, 0xffd07a00}, {14, 14}, 8.6);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor::fromRgba(kInk));
    p.drawEllipse(QPointF(11, 12.6), 1, 1.5);
    p.drawEllipse(QPointF(17, 12.6), 1, 1.5);
    curve(p, 10.4, 17.6, 16, 1.6, 1.2);
}

void moon(QPainter& p, int frame) {
    QPainterPath crescent;
    crescent.addEllipse(QRectF(3, 3.4, 19, 21));
    QPainterPath bite;
    bite.addEllipse(QRectF(9.4, 0.6, 18, 20));
    shape(p, crescent.subtracted(bite), QColor(0xff, 0xd8, 0x3a), 1.1);
    const QColor star(0xff, 0xc4, 0x1a);
    sparkle(p, {21.6, 21}, frame ? 3.4 : 2, star);
    sparkle(p, {24.6, 12.4}, frame ? 1.8 : 3, star);
}

void bomb(QPainter& p, int frame) {
    QPainterPath ball;
    ball.addEllipse(QPointF(12.6, 16.4), 9.6, 9.6);
    shape(p, ball, QColor(0x3a, 0x3e, 0x4a), 1.1);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 120));
    p.drawEllipse(QPointF(9, 12.4), 2.4, 1.8);
    p.setPen(inkPen(1.1, QColor(0x20, 0x22, 0x28)));
    p.setBrush(QColor(0x60, 0x66, 0x74));
    p.drawRect(QRectF(15.8, 5.2, 4.4, 3));
    p.setPen(inkPen(1.2, QColor(0x9c, 0x6a, 0x30)));
    p.setBrush(Qt::NoBrush);
    QPainterPath fuse(QPointF(18, 5.2));
    fuse.quadTo(19, 1.4, 22.6, 2.8);
    p.drawPath(fuse);
    // The spark crackles between three shapes.
    const QColor spark[] = {QColor(0xff, 0xe0, 0x40), QColor(0xff, 0x90, 0x10), QColor(0xff, 0x50, 0x10)};
    sparkle(p, {23.4, 2.8}, std::array{3.4, 2.4, 3.0}[size_t(frame)], spark[frame]);
    sparkle(p, {23.4, 2.8}, 1.2, Qt::white);
}

void gift(QPainter& p, int) {
    QPainterPath box;
    box.addRect(QRectF(4.2, 12, 19.6, 14));
    shape(p, box, QColor(0xe8, 0x40, 0x5a), 1.1);
    QPainterPath lid;
    lid.addRect(QRectF(3, 8.6, 22, 4.4));
    shape(p, lid, QColor(0xf0, 0x58, 0x70), 1.1);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xff, 0xd0, 0x3a));
    p.drawRect(QRectF(12.4, 8.6, 3.2, 17.4));
    p.setPen(inkPen(1.6, QColor(0xe0, 0xa0, 0x10)));
    p.setBrush(QColor(0xff, 0xd0, 0x3a));
    p.drawEllipse(QRectF(7.6, 3.4, 6.2, 5.2));
    p.drawEllipse(QRectF(14.2, 3.4, 6.2, 5.2));
}

void pig(QPainter& p, int frame) {
    for (const int side : {-1, 1}) {
        QPainterPath ear(QPointF(14 + side * 5, 5.2));
        ear.lineTo(14 + side * 11.4, 1.8);
        ear.lineTo(14 + side * 10.4, 9.4);
        ear.closeSubpath();
        shape(p, ear, QColor(0xf5, 0x8a, 0xaa), 1);
    }
    head(p, kPink);
    eyes(p, frame ? 0.0 : 0.9, {0, -0.6});
    QPainterPath snout;
    snout.addEllipse(QPointF(14, 17.6), 4.6, 3.4);
    shape(p, snout, QColor(0xff, 0xa8, 0xc0), 1);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xa0, 0x38, 0x58));
    p.drawEllipse(QPointF(12.4, 17.6), 0.9, 1.3);
    p.drawEllipse(QPointF(15.6, 17.6), 0.9, 1.3);
}

}  // namespace nq::assets::things
