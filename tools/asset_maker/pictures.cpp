#include "asset_maker/pictures.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include <array>

namespace nq::assets {

namespace {

// The bubble drawn per size rather than scaled: at 16 px the dots must sit on whole pixels to
// stay crisp. Coordinates in pixels; x.5 puts a 1 px outline on one pixel column.
struct BubbleGeometry {
    QRectF body;
    qreal radius;
    std::array<QPointF, 3> tail;  // where it leaves the body, the tip, where it rejoins
    qreal dotY;
    std::array<qreal, 3> dotX;
    qreal dotRadius;
};

constexpr BubbleGeometry kBubble16{
    QRectF(0.5, 1.5, 15, 11), 5, {QPointF(3, 11), QPointF(2.5, 15.5), QPointF(7.5, 12)}, 7, {5, 8, 11}, 1.2};
constexpr BubbleGeometry kBubble32{
    QRectF(1.5, 3.5, 29, 20), 9,  {QPointF(6.5, 20), QPointF(5.5, 30.5), QPointF(14, 23)}, 13.5,
    {9.5, 16, 22.5},          2.6};

QImage blank(int size) {
    QImage img(size, size, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    return img;
}

}  // namespace

QImage chatIcon(int size) {
    const BubbleGeometry& g = size <= 16 ? kBubble16 : kBubble32;
    QImage img = blank(size);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    // The menu's larger sizes (48 to 256 pixels) have room enough: the 32-pixel drawing, scaled.
    if (size > 32) p.scale(size / 32.0, size / 32.0);

    QPainterPath body;
    body.addRoundedRect(g.body, g.radius, g.radius);
    QPainterPath tail;
    tail.moveTo(g.tail[0]);
    tail.lineTo(g.tail[1]);
    tail.lineTo(g.tail[2]);
    tail.closeSubpath();
    const QPainterPath bubble = body.united(tail);

    QLinearGradient fill(0, g.body.top(), 0, g.body.bottom());
    fill.setColorAt(0, QColor(0x86, 0xb8, 0xf7));
    fill.setColorAt(0.55, QColor(0x3f, 0x80, 0xe6));
    fill.setColorAt(1, QColor(0x25, 0x62, 0xd2));
    p.setPen(QPen(QColor(0x1b, 0x4a, 0xb4), 1));
    p.setBrush(fill);
    p.drawPath(bubble);

    // Gloss on the upper half, kept inside the outline.
    p.setClipPath(body);
    QLinearGradient gloss(0, g.body.top(), 0, g.body.center().y());
    gloss.setColorAt(0, QColor(255, 255, 255, 120));
    gloss.setColorAt(1, QColor(255, 255, 255, 10));
    p.setPen(Qt::NoPen);
    p.setBrush(gloss);
    const qreal inset = size <= 16 ? 1.5 : 3;
    p.drawRoundedRect(
        QRectF(g.body.left() + inset, g.body.top() + 1, g.body.width() - 2 * inset, g.body.height() / 2 - 1),
        g.radius - 1, g.radius - 1);
    p.setClipping(false);

    p.setBrush(QColor(255, 255, 255));
    for (qreal x : g.dotX) p.drawEllipse(QPointF(x, g.dotY), g.dotRadius, g.dotRadius);
    return img;
}

QImage greyed(const QImage& picture) {
    QImage img = picture.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < img.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(img.scanLine(y));
        for (int x = 0; x < img.width(); ++x) {
            // Luma, lifted a little so that a greyed blue reads as "away" rather than dark.
            const int luma = qGray(line[x]);
            const int v = 40 + luma * 215 / 255;
            line[x] = qRgba(v, v, v, qAlpha(line[x]));
        }
    }
    return img;
}

}  // namespace nq::assets
