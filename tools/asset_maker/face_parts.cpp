#include "asset_maker/face_parts.h"

#include <QLinearGradient>
#include <QRadialGradient>

#include <cmath>
#include <numbers>

namespace nq::assets::face {

namespace {

QColor rgba(QRgb c) {
    return QColor::fromRgba(c);
}

}  // namespace

QPen inkPen(qreal width, QColor colour) {
    return QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void shape(QPainter& p, const QPainterPath& path, const QColor& fill, qreal line) {
    const QRectF box = path.boundingRect();
    QLinearGradient shade(0, box.top(), 0, box.bottom());
    shade.setColorAt(0, fill.lighter(115));
    shade.setColorAt(1, fill.darker(108));
    p.setPen(inkPen(line, fill.darker(170)));
    p.setBrush(shade);
    p.drawPath(path);
}

void head(QPainter& p, const Skin& skin, QPointF centre, qreal radius) {
    // Lit from the upper left, so the disc reads as a ball even at 28 pixels.
    QRadialGradient fill(centre + QPointF(-radius * 0.35, -radius * 0.45), radius * 1.45);
    const QColor light = rgba(skin.light), deep = rgba(skin.deep);
    fill.setColorAt(0, light);
    fill.setColorAt(0.5, QColor::fromRgbF(light.redF() * 0.65f + deep.redF() * 0.35f,
                                          light.greenF() * 0.65f + deep.greenF() * 0.35f,
                                          light.blueF() * 0.65f + deep.blueF() * 0.35f));
    fill.setColorAt(1, deep);
    p.setPen(inkPen(1.2, rgba(skin.outline)));
    p.setBrush(fill);
    p.drawEllipse(centre, radius, radius);
}

void eye(QPainter& p, int which, qreal open, QPointF look) {
    const QPointF c(kEyeX[which] + look.x(), kEyeY + look.y());
    if (open < 0.2) {
        p.setPen(inkPen(1.3));
        p.drawLine(c + QPointF(-1.5, 0.3), c + QPointF(1.5, 0.3));
        return;
    }
    p.setPen(Qt::NoPen);
    p.setBrush(rgba(kInk));
    p.drawEllipse(c, 1.35, 2.1 * open);
    if (open > 0.6) {
        p.setBrush(QColor(255, 255, 255, 230));
        p.drawEllipse(c + QPointF(-0.45, -0.8), 0.55, 0.6);
    }
}

void eyes(QPainter& p, qreal open, QPointF look) {
    eye(p, 0, open, look);
    eye(p, 1, open, look);
}

void arcEye(QPainter& p, int which, bool up, qreal y) {
    const qreal x = kEyeX[which];
    QPainterPath arc(QPointF(x - 2.1, y + (up ? 0.9 : -0.6)));
    arc.quadTo(x, y + (up ? -2.2 : 2.0), x + 2.1, y + (up ? 0.9 : -0.6));
    p.setPen(inkPen(1.4));
    p.setBrush(Qt::NoBrush);
    p.drawPath(arc);
}

void arcEyes(QPainter& p, bool up, qreal y) {
    arcEye(p, 0, up, y);
    arcEye(p, 1, up, y);
}

void wideEyes(QPainter& p, qreal pupil, QPointF look) {
    for (const qreal x : kEyeX) {
        p.setPen(inkPen(0.9));
        p.setBrush(Qt::white);
        p.drawEllipse(QPointF(x, kEyeY - 0.2), 2.7, 3.1);
        p.setPen(Qt::NoPen);
        p.setBrush(rgba(kInk));
        p.drawEllipse(QPointF(x, kEyeY) + look, pupil, pupil);
    }
}

void crossEyes(QPainter& p) {
    p.setPen(inkPen(1.3));
    for (const qreal x : kEyeX) {
        p.drawLine(QPointF(x - 1.7, kEyeY - 1.7), QPointF(x + 1.7, kEyeY + 1.7));
        p.drawLine(QPointF(x - 1.7, kEyeY + 1.7), QPointF(x + 1.7, kEyeY - 1.7));
    }
}

void brows(QPainter& p, qreal tilt, qreal y) {
    p.setPen(inkPen(1.3));
    p.drawLine(QPointF(kEyeX[0] - 2.4, y - tilt / 2), QPointF(kEyeX[0] + 2.2, y + tilt / 2));
    p.drawLine(QPointF(kEyeX[1] + 2.4, y - tilt / 2), QPointF(kEyeX[1] - 2.2, y + tilt / 2));
}

void curve(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth, qreal width) {
    QPainterPath path(QPointF(x0, y));
    path.quadTo((x0 + x1) / 2, y + 2 * depth, x1, y);
    p.setPen(inkPen(width));
    p.setBrush(Qt::NoBrush);
    p.drawPath(path);
}

void openMouth(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth) {
    QPainterPath mouth(QPointF(x0, y));
    mouth.lineTo(x1, y);
    mouth.cubicTo(x1, y + depth * 1.25, x0, y + depth * 1.25, x0, y);
    mouth.closeSubpath();
    p.setPen(inkPen(1.1));
    p.setBrush(rgba(kMouth));
    p.drawPath(mouth);
    p.save();
    p.setClipPath(mouth);
    p.setPen(Qt::NoPen);
    p.setBrush(rgba(kTongue));
    const qreal mid = (x0 + x1) / 2;
    p.drawEllipse(QPointF(mid, y + depth + 0.6), (x1 - x0) * 0.28, depth * 0.5);
    p.restore();
}

void ovalMouth(QPainter& p, QRectF box) {
    p.setPen(inkPen(1.1));
    p.setBrush(rgba(kMouth));
    p.drawEllipse(box);
}

void teethGrin(QPainter& p, qreal x0, qreal x1, qreal y, qreal depth) {
    QPainterPath mouth(QPointF(x0, y));
    mouth.quadTo((x0 + x1) / 2, y - 0.8, x1, y);
    mouth.cubicTo(x1 - 1, y + depth * 1.3, x0 + 1, y + depth * 1.3, x0, y);
    mouth.closeSubpath();
    p.setPen(inkPen(1.1));
    p.setBrush(rgba(kMouth));
    p.drawPath(mouth);
    p.save();
    p.setClipPath(mouth);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawRect(QRectF(x0, y - 1, x1 - x0, depth * 0.55 + 1));
    p.setPen(QPen(QColor(0xc8, 0xb8, 0xa8), 0.6));
    for (qreal x = x0 + (x1 - x0) / 4; x < x1 - 0.5; x += (x1 - x0) / 4)
        p.drawLine(QPointF(x, y), QPointF(x, y + depth * 0.55));
    p.restore();
}

void blush(QPainter& p, int alpha) {
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xff, 0x5e, 0x6e, alpha));
    p.drawEllipse(QPointF(6.9, 16.6), 2.3, 1.4);
    p.drawEllipse(QPointF(21.1, 16.6), 2.3, 1.4);
}

void drop(QPainter& p, QPointF top, qreal size, QColor colour) {
    const qreal r = size * 0.36;
    const QPointF c = top + QPointF(0, size - r);
    QPainterPath d(top);
    d.cubicTo(top + QPointF(r * 0.4, size * 0.35), c + QPointF(r, -r * 0.2), c + QPointF(r, 0));
    d.arcTo(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r), 0, -180);
    d.cubicTo(c + QPointF(-r, -r * 0.2), top + QPointF(-r * 0.4, size * 0.35), top);
    p.setPen(inkPen(0.8, colour.darker(150)));
    p.setBrush(colour);
    p.drawPath(d);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 200));
    p.drawEllipse(c + QPointF(-r * 0.35, -r * 0.3), r * 0.3, r * 0.35);
}

QPainterPath heartPath(QPointF c, qreal s) {
    QPainterPath h(c + QPointF(0, s * 0.5));
    h.cubicTo(c + QPointF(-s * 0.15, s * 0.35), c + QPointF(-s * 0.55, s * 0.05),
              c + QPointF(-s * 0.52, -s * 0.2));
    h.cubicTo(c + QPointF(-s * 0.5, -s * 0.5), c + QPointF(-s * 0.05, -s * 0.55), c + QPointF(0, -s * 0.25));
    h.cubicTo(c + QPointF(s * 0.05, -s * 0.55), c + QPointF(s * 0.5, -s * 0.5),
              c + QPointF(s * 0.52, -s * 0.2));
    h.cubicTo(c + QPointF(s * 0.55, s * 0.05), c + QPointF(s * 0.15, s * 0.35), c + QPointF(0, s * 0.5));
    h.closeSubpath();
    return h;
}

void heart(QPainter& p, QPointF centre, qreal size, QColor colour) {
    shape(p, heartPath(centre, size), colour, size > 10 ? 1.1 : 0.8);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 170));
    p.drawEllipse(centre + QPointF(-size * 0.27, -size * 0.22), size * 0.1, size * 0.08);
}

void palm(QPainter& p, QPointF wrist, qreal angle, qreal scale) {
    p.save();
    p.translate(wrist);
    p.rotate(angle);
    p.scale(scale, scale);
    const QColor skin(kHandFill), line(kHandLine);
    p.setPen(inkPen(0.75, line));
    p.setBrush(skin);
    // Fingers first, each outlined on its own so that the gaps show, the middle ones longest.
    const qreal tops[] = {-8.4, -9.6, -9.3, -8};
    for (int f = 0; f < 4; ++f) p.drawRoundedRect(QRectF(-3.6 + f * 1.8, tops[f], 1.7, 6), 0.85, 0.85);
    p.save();
    p.translate(-3, -1.6);
    p.rotate(-42);
    p.drawRoundedRect(QRectF(-1, -4.6, 2, 4.8), 1, 1);
    p.restore();
    p.drawRoundedRect(QRectF(-3.7, -4.8, 7.4, 5.8), 2.2, 2.2);
    p.restore();
}

void thumb(QPainter& p, QPointF centre, bool up, qreal scale) {
    p.save();
    p.translate(centre);
    p.scale(scale, up ? scale : -scale);
    const QColor skin(kHandFill), line(kHandLine);
    p.setPen(inkPen(0.9, line));
    p.setBrush(skin);
    // The thumb leans a little out of the fist; four curled fingers are stacked on its right.
    QPainterPath t(QPointF(-4.4, 0));
    t.lineTo(-4.2, -6.6);
    t.cubicTo(-4.2, -9.8, 0.2, -9.8, 0, -6.6);
    t.lineTo(0.6, -1);
    t.closeSubpath();
    p.drawPath(t);
    p.drawRoundedRect(QRectF(-5.2, -1.6, 7.4, 8.2), 2.2, 2.2);
    for (int k = 0; k < 4; ++k) p.drawRoundedRect(QRectF(0.2, -1.6 + k * 2.05, 4.6, 2.05), 1, 1);
    p.restore();
    // The cuff, never mirrored: a blue sleeve below (thumb up) or above (thumb down) the fist.
    p.setPen(inkPen(0.9, QColor(0x1c, 0x4f, 0x9c)));
    p.setBrush(QColor(0x3f, 0x86, 0xe0));
    const qreal y = up ? centre.y() + 6.6 * scale : centre.y() - 8.8 * scale;
    p.drawRoundedRect(QRectF(centre.x() - 5.8 * scale, y, 8.6 * scale, 2.2 * scale), 0.8, 0.8);
}

void sparkle(QPainter& p, QPointF c, qreal s, QColor colour) {
    QPainterPath star(c + QPointF(0, -s));
    star.quadTo(c, c + QPointF(s, 0));
    star.quadTo(c, c + QPointF(0, s));
    star.quadTo(c, c + QPointF(-s, 0));
    star.quadTo(c, c + QPointF(0, -s));
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawPath(star);
}

void letterZ(QPainter& p, QPointF tl, qreal s, qreal alpha) {
    QColor c(0x35, 0x68, 0x9e);
    c.setAlphaF(float(alpha));
    p.setPen(inkPen(s > 4 ? 1.3 : 1.1, c));
    p.setBrush(Qt::NoBrush);
    QPainterPath z(tl);
    z.lineTo(tl + QPointF(s * 0.8, 0));
    z.lineTo(tl + QPointF(0, s));
    z.lineTo(tl + QPointF(s * 0.8, s));
    p.drawPath(z);
}

}  // namespace nq::assets::face
