#include "asset_maker/head_parts.h"

#include <QLinearGradient>

#include <cmath>
#include <initializer_list>
#include <numbers>

namespace nq::assets {

namespace {

constexpr qreal kEyeY = 13.9;
constexpr qreal kEyeX[2] = {12.8, 19.2};

QColor outlineOf(const QColor& fill) {
    return fill.darker(165);
}

QPainterPath ellipse(const QRectF& r) {
    QPainterPath p;
    p.addEllipse(r);
    return p;
}

QPainterPath circle(QPointF c, qreal r) {
    return ellipse(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r));
}

QRectF faceRect(Face f) {
    return f == Face::Oval ? QRectF(9, 5, 14, 16.5) : QRectF(8.5, 5.5, 15, 15.5);
}

QPainterPath facePath(Face f) {
    if (f != Face::Square) return ellipse(faceRect(f));
    QPainterPath p;
    p.addRoundedRect(faceRect(f), 6, 6.5);
    return p;
}

// The part of the cell above a hairline drawn left to right: front hair may only grow there.
QPainterPath above(QPainterPath line) {
    const QPointF start = line.elementAt(0);
    line.lineTo(40, line.currentPosition().y());
    line.lineTo(40, -8);
    line.lineTo(-8, -8);
    line.lineTo(-8, start.y());
    line.closeSubpath();
    return line;
}

// The crown of hair that sits on the head; hairlines cut it.
QPainterPath capOf(Face f, qreal grow) {
    return ellipse(faceRect(f).adjusted(-1.3 - grow, -1.9 - grow, 1.3 + grow, grow));
}

// Curls: circles along the upper arc of an ellipse around (16, cy), from angle a0 to a1 (degrees).
QPainterPath curls(qreal cy, qreal rx, qreal ry, qreal r, int count, qreal a0, qreal a1) {
    QPainterPath all;
    for (int k = 0; k < count; ++k) {
        const qreal a = (a0 + (a1 - a0) * k / (count - 1)) * std::numbers::pi / 180;
        all = all.united(circle({16 + rx * std::cos(a), cy - ry * std::sin(a)}, r));
    }
    return all;
}

// The region above a hairline given as x, y pairs: its left end, then cubic segments (two
// control points and an end point each). It runs out flat to both sides of the cell.
QPainterPath hairAbove(std::initializer_list<qreal> xy) {
    const qreal* v = xy.begin();
    QPainterPath line(QPointF(6, v[1]));
    line.lineTo(v[0], v[1]);
    for (size_t i = 2; i + 6 <= xy.size(); i += 6)
        line.cubicTo(v[i], v[i + 1], v[i + 2], v[i + 3], v[i + 4], v[i + 5]);
    line.lineTo(26, line.currentPosition().y());
    return above(line);
}

// Hair behind the head and shoulders; empty for short styles.
QPainterPath backHair(Hair h) {
    QPainterPath p;
    switch (h) {
        case Hair::Long:
            p.moveTo(16, 3.2);
            p.cubicTo(22.6, 3.2, 25.2, 7.5, 25.2, 13);
            p.lineTo(25.8, 23.5);
            p.cubicTo(25.8, 25.2, 23.5, 25.8, 21.5, 25.2);
            p.lineTo(10.5, 25.2);
            p.cubicTo(8.5, 25.8, 6.2, 25.2, 6.2, 23.5);
            p.lineTo(6.8, 13);
            p.cubicTo(6.8, 7.5, 9.4, 3.2, 16, 3.2);
            return p;
        case Hair::Bob:
            p.moveTo(16, 3.3);
            p.cubicTo(23, 3.3, 25.4, 8, 25.4, 13);
            p.lineTo(25.4, 20);
            p.cubicTo(25.4, 21.3, 24.6, 21.8, 23.4, 21.8);
            p.lineTo(8.6, 21.8);
            p.cubicTo(7.4, 21.8, 6.6, 21.3, 6.6, 20);
            p.lineTo(6.6, 13);
            p.cubicTo(6.6, 8, 9, 3.3, 16, 3.3);
            return p;
        case Hair::Ponytail:
            p.moveTo(21, 5.6);
            p.cubicTo(27.5, 4.8, 30, 10, 29, 16);
            p.cubicTo(28.5, 20, 26.5, 22.8, 24.6, 23.4);
            p.cubicTo(26, 19, 25.8, 13.5, 22, 10.5);
            p.closeSubpath();
            return p;
        case Hair::Bun:
            return circle({16, 3.6}, 3.6);
        case Hair::Pigtails:
            return ellipse(QRectF(3.4, 11.5, 5.8, 10.5)).united(ellipse(QRectF(22.8, 11.5, 5.8, 10.5)));
        case Hair::Afro:
            return circle({16, 11.2}, 10).united(curls(11.2, 9.8, 9.2, 3.4, 9, 200, -20));
        case Hair::Wavy:
            p.moveTo(16, 3);
            p.cubicTo(23, 3, 26, 7.5, 25.8, 13);
            p.cubicTo(25.6, 17, 27.4, 19, 26.4, 22.2);
            p.cubicTo(25.8, 24.6, 23, 25.8, 21, 24.9);
            p.cubicTo(19, 25.8, 13, 25.8, 11, 24.9);
            p.cubicTo(9, 25.8, 6.2, 24.6, 5.6, 22.2);
            p.cubicTo(4.6, 19, 6.4, 17, 6.2, 13);
            p.cubicTo(6, 7.5, 9, 3, 16, 3);
            return p;
        default:
            return p;
    }
}

// Hair in front of the face: the crown of the head above the style's hairline.
QPainterPath frontHair(Hair h, Face f) {
    const QPainterPath cap = capOf(f, 0);
    switch (h) {
        case Hair::Short:
            return cap.intersected(hairAbove({8.7,  14.5, 8.8,  10.5, 11,   9.4, 14,   9.8, 17.5, 10.2,
                                              20.5, 8.2,  22.6, 10.2, 23.2, 11,  23.4, 13,  23.4, 14.5}));
        case Hair::Spiky: {
            QPainterPath spikes;
            const QPointF tips[][3] = {{{8, 9}, {6.2, 2.6}, {12, 5.5}},
                                       {{10.5, 6}, {12.4, 0.6}, {16, 4.5}},
                                       {{15, 4.5}, {18.6, 0.4}, {20.5, 5}},
                                       {{19, 5.2}, {24.5, 2}, {23.2, 8.6}},
                                       {{22.4, 7}, {27, 5.6}, {24.6, 11}}};
            for (const auto& t : tips) {
                QPainterPath tri(t[0]);
                tri.lineTo(t[1]);
                tri.lineTo(t[2]);
                tri.closeSubpath();
                spikes = spikes.united(tri);
            }
            QPainterPath jag(QPointF(6, 13.5));
            for (QPointF q : {QPointF(8.7, 13.5), QPointF(10, 10), QPointF(11.6, 11.4), QPointF(13.2, 9.6),
                              QPointF(14.8, 11.2), QPointF(16.4, 9.6), QPointF(18, 11.2), QPointF(19.6, 9.6),
                              QPointF(21.2, 11.2), QPointF(22.4, 10), QPointF(23.4, 13.5), QPointF(26, 13.5)})
                jag.lineTo(q);
            return cap.united(spikes).intersected(above(jag));
        }
        case Hair::SidePart:
            return cap.intersected(
                hairAbove({8.7, 14, 8.7, 10, 10.5, 8.2, 12.6, 7.8, 15, 9.6, 20, 9.6, 23.3, 13.5}));
        case Hair::Curly:
            return cap.united(curls(11, 8.4, 7.6, 2.7, 9, 195, -15))
                .intersected(hairAbove({8.6,  15,  9,  11,   11, 10, 13, 10.6, 14.5, 9.4,
                                        17.5, 9.4, 19, 10.6, 21, 10, 23, 11,   23.4, 15}));
        case Hair::Balding:
            // A fringe round the sides only, under a bare dome.
            return cap.intersected(hairAbove({8.7, 13.5, 8.7, 13, 23.3, 13, 23.3, 13.5}))
                .subtracted(ellipse(QRectF(9.4, 3, 13.2, 11.6)));
        case Hair::Long:
        case Hair::Wavy:
            return capOf(f, 0.3).intersected(
                hairAbove({8.7, 19, 9.3, 12, 12, 8, 16, 7.6, 20, 8, 22.7, 12, 23.3, 19}));
        case Hair::Bob: {
            QPainterPath line(QPointF(6, 21));
            line.lineTo(8.8, 21);
            line.lineTo(8.8, 11.6);
            line.cubicTo(12, 10.6, 20, 10.6, 23.2, 11.6);
            line.lineTo(23.2, 21);
            line.lineTo(26, 21);
            return capOf(f, 0.4).intersected(above(line));
        }
        case Hair::Ponytail:
            return cap.intersected(
                hairAbove({8.7, 14, 9, 10, 11, 8.2, 14.5, 8, 17, 9.2, 20, 10.8, 23.3, 12.5}));
        case Hair::Bun:
            return cap.intersected(
                hairAbove({8.7, 14, 9, 9.5, 12, 7.8, 16, 7.8, 20, 7.8, 23, 9.5, 23.3, 14}));
        case Hair::Pigtails:
            return cap.intersected(
                hairAbove({8.7, 15,   9,   11, 10,   10.4, 11.5, 11.2, 13, 9.6, 14.5, 10.8, 16,
                           11,  17.5, 9.6, 19, 10.8, 20.5, 11,   22,   10, 23,  11.5, 23.3, 15}));
        case Hair::Afro:
            return backHair(Hair::Afro)
                .intersected(hairAbove({8.6, 15, 9, 10.5, 12, 9.2, 16, 9.2, 20, 9.2, 23, 10.5, 23.4, 15}));
        case Hair::Pixie:
            return cap.intersected(hairAbove({8.7, 14,  8.8, 11.5, 9.5, 10.6, 11, 11.2, 13.5, 11.6,
                                              17,  9.4, 19,  8,    21,  9,    23, 10.5, 23.3, 13.5}));
        case Hair::Curled:
            return cap.united(curls(10.6, 8.8, 7.4, 2.4, 10, 200, -20))
                .intersected(hairAbove({8.6, 15, 9, 10, 12, 8.6, 16, 8.6, 20, 8.6, 23, 10, 23.4, 15}));
    }
    return {};
}

bool showsEars(Hair h) {
    switch (h) {
        case Hair::Long:
        case Hair::Bob:
        case Hair::Wavy:
        case Hair::Afro:
            return false;
        default:
            return true;
    }
}

void paintBody(QPainter& p, const Person& who, const Strokes& s) {
    const QColor neckShade = QColor(who.skin).darker(112);
    QPainterPath neck;
    neck.addRoundedRect(QRectF(13.6, 17.5, 4.8, 8), 1.5, 1.5);
    paintShape(p, neck, neckShade, s);

    const qreal half = who.woman ? 10.5 : 12.5;
    QPainterPath shirt(QPointF(16 - half, 32.8));
    shirt.cubicTo(16 - half, 26.6, 16 - half + 4.5, 23.6, 16, 23.6);
    shirt.cubicTo(16 + half - 4.5, 23.6, 16 + half, 26.6, 16 + half, 32.8);
    shirt.closeSubpath();
    paintShape(p, shirt, QColor(who.shirt), s);

    // The neckline: a V for the men, a scoop for the women.
    QPainterPath opening(QPointF(13.4, 23.8));
    if (who.woman) {
        opening.quadTo(16, 28, 18.6, 23.8);
    } else {
        opening.lineTo(16, 27);
        opening.lineTo(18.6, 23.8);
    }
    opening.closeSubpath();
    p.setPen(QPen(outlineOf(QColor(who.shirt)), s.line * 0.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(neckShade);
    p.drawPath(opening);
    if (who.extras & kPearls) {
        p.setPen(QPen(QColor(0xb8, 0xb0, 0xa0), s.line * 0.4));
        p.setBrush(QColor(0xfb, 0xf8, 0xf0));
        for (int k = 0; k <= 4; ++k) {
            const qreal t = k / 4.0;
            p.drawEllipse(QPointF(13.8 + 4.4 * t, 24.4 + 2.6 * std::sin(t * std::numbers::pi)), 0.75, 0.75);
        }
    }
}

void paintFace(QPainter& p, const Person& who, const Strokes& s) {
    const QColor skin(who.skin), dark(0x3b, 0x2a, 0x24);
    if (showsEars(who.hair)) {
        const qreal inset = who.face == Face::Oval ? 0.5 : 0;
        paintShape(p, ellipse(QRectF(6.9 + inset, 12.2, 2.8, 4)), skin, s);
        paintShape(p, ellipse(QRectF(22.3 - inset, 12.2, 2.8, 4)), skin, s);
    }
    paintShape(p, facePath(who.face), skin, s);

    if (who.extras & kBeard) {
        QPainterPath chin(QPointF(8, 13));
        chin.cubicTo(9.5, 17.6, 13, 16, 16, 16.3);
        chin.cubicTo(19, 16, 22.5, 17.6, 24, 13);
        chin.lineTo(24, 24);
        chin.lineTo(8, 24);
        chin.closeSubpath();
        const QPainterPath beard =
            facePath(who.face).intersected(chin).subtracted(ellipse(QRectF(13.6, 16.6, 4.8, 2.8)));
        paintShape(p, beard, QColor(who.hairColour), s);
    }

    paintShape(p, frontHair(who.hair, who.face), QColor(who.hairColour), s);

    // Cheeks.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 110, 110, who.woman ? 95 : 60));
    for (qreal x : {11.2, 20.8}) p.drawEllipse(QPointF(x, 16.5), 1.5, 0.95);
    if (who.extras & kFreckles) {
        p.setBrush(skin.darker(150));
        for (QPointF f : {QPointF(10.6, 15.9), QPointF(11.8, 16.6), QPointF(10.9, 17.3), QPointF(21.4, 15.9),
                          QPointF(20.2, 16.6), QPointF(21.1, 17.3)})
            p.drawEllipse(f, 0.38, 0.38);
    }

    // Eyes, brows and lashes.
    p.setBrush(dark);
    for (qreal x : kEyeX) p.drawEllipse(QPointF(x, kEyeY), 1.05, 1.3);
    if (s.detail) {
        p.setBrush(Qt::white);
        for (qreal x : kEyeX) p.drawEllipse(QPointF(x + 0.35, kEyeY - 0.45), 0.32, 0.32);
    }
    if (who.woman) {
        p.setPen(QPen(dark, 0.65, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(11.9, 13.1), QPointF(10.8, 12.2));
        p.drawLine(QPointF(20.1, 13.1), QPointF(21.2, 12.2));
    } else if (who.hair != Hair::Short && who.hair != Hair::Spiky && who.hair != Hair::Curly) {
        p.setPen(QPen(QColor(who.hairColour).darker(130), 0.8, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(11.5, 11.6), QPointF(14, 11.3));
        p.drawLine(QPointF(18, 11.3), QPointF(20.5, 11.6));
    }

    // Nose and mouth.
    p.setPen(Qt::NoPen);
    p.setBrush(skin.darker(125));
    p.drawEllipse(QPointF(16, 15.8), 0.55, 0.45);
    if (who.woman) {
        QPainterPath lips(QPointF(14, 17.3));
        lips.quadTo(16, 17.9, 18, 17.3);
        lips.quadTo(16, 19.9, 14, 17.3);
        p.setPen(QPen(QColor(0xb8, 0x3a, 0x52), 0.4));
        p.setBrush(QColor(0xe0, 0x5a, 0x72));
        p.drawPath(lips);
    } else {
        QPainterPath smile(QPointF(14, 17.3));
        smile.quadTo(16, 19.2, 18, 17.3);
        p.setPen(QPen(QColor(0x8a, 0x3b, 0x2e), 0.85, Qt::SolidLine, Qt::RoundCap));
        p.setBrush(Qt::NoBrush);
        p.drawPath(smile);
    }
    if (who.extras & kMoustache) {
        QPainterPath m(QPointF(13, 17.1));
        m.cubicTo(13.8, 15.5, 15.2, 15.7, 16, 16.3);
        m.cubicTo(16.8, 15.7, 18.2, 15.5, 19, 17.1);
        m.cubicTo(17.6, 16.9, 16.8, 17.1, 16, 17.1);
        m.cubicTo(15.2, 17.1, 14.4, 16.9, 13, 17.1);
        m.closeSubpath();
        paintShape(p, m, QColor(who.hairColour), s);
    }
}

void paintExtras(QPainter& p, const Person& who, const Strokes& s) {
    const QColor accent(who.accent);
    if (who.extras & kGlasses) {
        const QColor frame(0x3a, 0x33, 0x40);
        p.setPen(QPen(frame, 0.8));
        p.setBrush(QColor(255, 255, 255, 60));
        for (qreal x : kEyeX) p.drawEllipse(QPointF(x, kEyeY), 2.3, 2.1);
        p.drawLine(QPointF(kEyeX[0] + 2.3, kEyeY), QPointF(kEyeX[1] - 2.3, kEyeY));
    }
    if (who.extras & kEarrings) {
        p.setPen(QPen(QColor(0xb0, 0x80, 0x10), 0.35));
        p.setBrush(QColor(0xf5, 0xc8, 0x3a));
        const qreal out = who.face == Face::Oval ? 0.4 : 0;
        p.drawEllipse(QPointF(8.4 + out, 17.6), 0.9, 0.9);
        p.drawEllipse(QPointF(23.6 - out, 17.6), 0.9, 0.9);
    }
    if (who.extras & kCap) {
        const QPainterPath crown =
            ellipse(QRectF(7.4, 3.2, 17.2, 15)).intersected(above(QPainterPath(QPointF(0, 10.8))));
        paintShape(p, crown, accent, s);
        QPainterPath brim(QPointF(9, 10.8));
        brim.cubicTo(14, 9.2, 22, 9.2, 28.5, 11.2);
        brim.cubicTo(27.5, 12.6, 22, 12.4, 16, 12);
        brim.cubicTo(13, 11.8, 10, 11.9, 9, 10.8);
        brim.closeSubpath();
        paintShape(p, brim, accent.darker(112), s);
        paintShape(p, circle({16, 3.6}, 0.9), accent.darker(112), s);
    }
    if (who.extras & kHeadphones) {
        p.setPen(QPen(accent, 1.6, Qt::SolidLine, Qt::RoundCap));
        p.setBrush(Qt::NoBrush);
        p.drawArc(QRectF(6.8, 2.2, 18.4, 22), 16 * 10, 16 * 160);
        QPainterPath cups;
        cups.addRoundedRect(QRectF(5.3, 10.8, 3.8, 7), 1.6, 1.6);
        cups.addRoundedRect(QRectF(22.9, 10.8, 3.8, 7), 1.6, 1.6);
        paintShape(p, cups, accent, s);
    }
    if (who.extras & kFlower) {
        const QPointF c(22.6, 6.6);
        QPainterPath petals;
        for (int k = 0; k < 5; ++k) {
            const qreal a = (90 + 72 * k) * std::numbers::pi / 180;
            petals = petals.united(circle(c + QPointF(1.5 * std::cos(a), -1.5 * std::sin(a)), 1.35));
        }
        paintShape(p, petals, accent, s);
        paintShape(p, circle(c, 0.9), QColor(0xf7, 0xd0, 0x3c), s);
    }
    if (who.extras & kBow) {
        QPainterPath bow(QPointF(10.6, 5.6));
        bow.lineTo(7, 3.4);
        bow.lineTo(7.4, 8.2);
        bow.closeSubpath();
        bow.moveTo(10.6, 5.6);
        bow.lineTo(13.6, 2.6);
        bow.lineTo(14.2, 7.2);
        bow.closeSubpath();
        paintShape(p, bow.simplified(), accent, s);
        paintShape(p, circle({10.6, 5.6}, 1.1), accent.darker(115), s);
    }
    // Hair ties.
    if (who.hair == Hair::Pigtails)
        for (QPointF t : {QPointF(7.6, 12.4), QPointF(24.4, 12.4)}) paintShape(p, circle(t, 1.25), accent, s);
    if (who.hair == Hair::Ponytail) paintShape(p, circle({23.6, 7.6}, 1.25), accent, s);
}

}  // namespace

void paintShape(QPainter& p, const QPainterPath& path, const QColor& fill, const Strokes& s) {
    const QRectF box = path.boundingRect();
    QLinearGradient shade(0, box.top(), 0, box.bottom());
    shade.setColorAt(0, fill.lighter(112));
    shade.setColorAt(1, fill.darker(106));
    p.setPen(QPen(outlineOf(fill), s.line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(shade);
    p.drawPath(path);
}

void paintPerson(QPainter& p, const Person& who, const Strokes& s) {
    const QPainterPath back = backHair(who.hair);
    if (!back.isEmpty()) paintShape(p, back, QColor(who.hairColour), s);
    paintBody(p, who, s);
    paintFace(p, who, s);
    paintExtras(p, who, s);
}

}  // namespace nq::assets
