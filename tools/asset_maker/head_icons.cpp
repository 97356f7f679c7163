#include "asset_maker/head_icons.h"

#include <QLinearGradient>

namespace nq::assets {

namespace {

void paintScaled(QPainter& p, const Person& who, QPointF at, qreal scale, const Strokes& s) {
    p.save();
    p.translate(at);
    p.scale(scale, scale);
    // The outline keeps its width in the cell however small the person is drawn.
    paintPerson(p, who, Strokes{s.line / scale, s.detail});
    p.restore();
}

}  // namespace

void paintGroup(QPainter& p, const Person& front, const Person& backLeft, const Person& backRight,
                const Strokes& s) {
    constexpr qreal kBack = 0.66, kFront = 0.8;
    paintScaled(p, backLeft, {8 - 16 * kBack, 0.2}, kBack, s);
    paintScaled(p, backRight, {24 - 16 * kBack, 0.2}, kBack, s);
    paintScaled(p, front, {16 - 16 * kFront, 32 - 32 * kFront}, kFront, s);
}

void paintRoom(QPainter& p, const Strokes& s) {
    QPainterPath walls;
    walls.addRoundedRect(QRectF(6.5, 13, 19, 17.5), 1.2, 1.2);
    paintShape(p, walls, QColor(0xff, 0xf0, 0xd2), s);

    QPainterPath roof(QPointF(3.2, 15.2));
    roof.lineTo(16, 4.2);
    roof.lineTo(28.8, 15.2);
    roof.lineTo(26.6, 16.8);
    roof.lineTo(16, 7.8);
    roof.lineTo(5.4, 16.8);
    roof.closeSubpath();
    QPainterPath gable(QPointF(6.5, 14.4));
    gable.lineTo(16, 6.2);
    gable.lineTo(25.5, 14.4);
    gable.closeSubpath();
    paintShape(p, gable, QColor(0xff, 0xf0, 0xd2), s);
    paintShape(p, roof, QColor(0xe8, 0x55, 0x45), s);

    QPainterPath door(QPointF(13, 30.5));
    door.lineTo(13, 23.2);
    door.arcTo(QRectF(13, 20.2, 6, 6), 180, -180);
    door.lineTo(19, 30.5);
    door.closeSubpath();
    paintShape(p, door, QColor(0xb8, 0x74, 0x3c), s);
    paintShape(
        p,
        [] {
            QPainterPath knob;
            knob.addEllipse(QPointF(17.6, 25.8), 0.7, 0.7);
            return knob;
        }(),
        QColor(0xf5, 0xc8, 0x3a), s);

    QPainterPath window;
    window.addRoundedRect(QRectF(8.4, 18, 3.4, 3.4), 0.6, 0.6);
    window.addRoundedRect(QRectF(20.2, 18, 3.4, 3.4), 0.6, 0.6);
    paintShape(p, window, QColor(0x8c, 0xc8, 0xf4), s);

    // A speech bubble at the upper right says that people talk inside.
    QPainterPath bubble;
    bubble.addRoundedRect(QRectF(20.2, 0.8, 11, 7.6), 3.2, 3.2);
    QPainterPath tail(QPointF(22.4, 7.6));
    tail.lineTo(20.6, 11);
    tail.lineTo(25.2, 8);
    tail.closeSubpath();
    paintShape(p, bubble.united(tail), QColor(0x3f, 0x86, 0xe6), s);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    for (qreal x : {22.9, 25.7, 28.5}) p.drawEllipse(QPointF(x, 4.6), 0.95, 0.95);
}

void paintStandIn(QPainter& p, const Strokes& s) {
    const QColor grey(0xd8, 0xdc, 0xe2);
    QPainterPath shoulders(QPointF(4.5, 32.8));
    shoulders.cubicTo(4.5, 26.6, 9, 23.6, 16, 23.6);
    shoulders.cubicTo(23, 23.6, 27.5, 26.6, 27.5, 32.8);
    shoulders.closeSubpath();
    paintShape(p, shoulders, grey, s);
    QPainterPath head;
    head.addEllipse(QRectF(9.5, 5.5, 13, 15));
    paintShape(p, head, grey, s);
}

void paintCrown(QPainter& p, const Strokes& s) {
    QPainterPath crown(QPointF(7.6, 21));
    crown.lineTo(6.2, 11);
    crown.lineTo(11.4, 15.6);
    crown.lineTo(16, 8.6);
    crown.lineTo(20.6, 15.6);
    crown.lineTo(25.8, 11);
    crown.lineTo(24.4, 21);
    crown.closeSubpath();
    QPainterPath band;
    band.addRoundedRect(QRectF(7, 20, 18, 5), 1.4, 1.4);
    crown = crown.united(band);
    for (QPointF tip : {QPointF(6.2, 10.6), QPointF(16, 8.2), QPointF(25.8, 10.6)})
        crown.addEllipse(tip, 1.4, 1.4);

    const QColor outline(0xa0, 0x6c, 0x0c);
    QLinearGradient gold(0, 7, 0, 25);
    gold.setColorAt(0, QColor(0xff, 0xec, 0x8a));
    gold.setColorAt(0.5, QColor(0xf7, 0xc2, 0x2c));
    gold.setColorAt(1, QColor(0xd9, 0x94, 0x10));
    p.setPen(QPen(outline, s.line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(gold);
    p.drawPath(crown.simplified());
    p.setPen(QPen(outline, s.line * 0.6));
    p.drawLine(QPointF(7.6, 20.2), QPointF(24.4, 20.2));

    p.setPen(QPen(QColor(0x8e, 0x1c, 0x24), s.line * 0.5));
    p.setBrush(QColor(0xe8, 0x33, 0x40));
    p.drawEllipse(QPointF(16, 22.5), 1.4, 1.4);
    p.setPen(QPen(QColor(0x1c, 0x46, 0x8e), s.line * 0.5));
    p.setBrush(QColor(0x3f, 0x8c, 0xe8));
    for (qreal x : {11.2, 20.8}) p.drawEllipse(QPointF(x, 22.5), 0.95, 0.95);
}

}  // namespace nq::assets
