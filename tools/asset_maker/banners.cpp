#include "asset_maker/banners.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

namespace nq::assets {

namespace {

constexpr qreal kCorner = 8;

QImage canvas(int width, int height) {
    QImage img(width, height, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    return img;
}

QPainterPath rounded(const QImage& img) {
    QPainterPath path;
    path.addRoundedRect(QRectF(0, 0, img.width(), img.height()), kCorner, kCorner);
    return path;
}

// A light spot fading to nothing at its rim.
void glow(QPainter& p, QPointF centre, qreal radius, int alpha) {
    QRadialGradient g(centre, radius);
    g.setColorAt(0, QColor(255, 255, 255, alpha));
    g.setColorAt(1, QColor(255, 255, 255, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(g);
    p.drawEllipse(centre, radius, radius);
}

// A band across the bottom whose top edge rises and falls twice.
void wave(QPainter& p, const QImage& img, qreal top, qreal swing, const QColor& colour) {
    const qreal w = img.width();
    QPainterPath band;
    band.moveTo(0, top);
    band.cubicTo(w * 0.25, top - swing, w * 0.35, top + swing, w * 0.55, top);
    band.cubicTo(w * 0.75, top - swing, w * 0.85, top + swing * 0.6, w, top - swing * 0.3);
    band.lineTo(w, img.height());
    band.lineTo(0, img.height());
    band.closeSubpath();
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawPath(band);
}

void bubble(QPainter& p, QRectF body, bool tailLeft, const QColor& fill) {
    QPainterPath path;
    path.addRoundedRect(body, body.height() / 2.4, body.height() / 2.4);
    QPainterPath tail;
    const qreal x = tailLeft ? body.left() + body.width() * 0.25 : body.right() - body.width() * 0.25;
    const qreal tip = tailLeft ? x - body.height() * 0.35 : x + body.height() * 0.35;
    tail.moveTo(x - 4, body.bottom() - 2);
    tail.lineTo(tip, body.bottom() + body.height() * 0.35);
    tail.lineTo(x + 4, body.bottom() - 2);
    tail.closeSubpath();
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    p.drawPath(path.united(tail));
}

}  // namespace

QImage contactBanner() {
    QImage img = canvas(kBannerWidth, kContactBannerHeight);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setClipPath(rounded(img));

    QLinearGradient sky(0, 0, img.width(), img.height());
    sky.setColorAt(0, QColor(0x2a, 0x62, 0xd0));
    sky.setColorAt(0.6, QColor(0x2f, 0x8f, 0xe0));
    sky.setColorAt(1, QColor(0x3c, 0xc2, 0xc8));
    p.fillRect(img.rect(), sky);

    glow(p, QPointF(40, 10), 38, 70);
    glow(p, QPointF(120, 50), 28, 40);
    glow(p, QPointF(200, 8), 22, 45);
    wave(p, img, 42, 7, QColor(255, 255, 255, 40));
    wave(p, img, 48, 5, QColor(255, 255, 255, 55));

    bubble(p, QRectF(196, 12, 44, 22), true, QColor(255, 255, 255, 230));
    bubble(p, QRectF(226, 22, 40, 20), false, QColor(0xff, 0xd8, 0x6b, 235));
    p.setBrush(QColor(0x2f, 0x80, 0xe0));
    for (int i = 0; i < 3; ++i) p.drawEllipse(QPointF(209 + i * 9, 23), 2.2, 2.2);
    p.setBrush(QColor(0xb0, 0x6a, 0x00));
    for (int i = 0; i < 3; ++i) p.drawEllipse(QPointF(238 + i * 8, 32), 2, 2);
    return img;
}

QImage partnerBanner() {
    QImage img = canvas(kBannerWidth, kPartnerBannerHeight);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setClipPath(rounded(img));

    QLinearGradient warm(0, 0, img.width(), img.height());
    warm.setColorAt(0, QColor(0xff, 0xb2, 0x5e));
    warm.setColorAt(0.55, QColor(0xf4, 0x74, 0x6c));
    warm.setColorAt(1, QColor(0xc9, 0x4f, 0x9c));
    p.fillRect(img.rect(), warm);

    glow(p, QPointF(50, 30), 70, 80);
    glow(p, QPointF(240, 150), 60, 35);
    wave(p, img, 140, 12, QColor(255, 255, 255, 45));
    wave(p, img, 156, 9, QColor(255, 255, 255, 60));

    // Two linked rings: the left one is drawn whole, the right one over it, and then the
    // left one's quarter again where it passes in front.
    const QPointF left(118, 74), right(166, 74);
    const qreal r = 30;
    const QPen ringPen(QColor(255, 255, 255, 235), 9, Qt::SolidLine, Qt::RoundCap);
    const QPen shadowPen(QColor(0x80, 0x20, 0x40, 50), 9);
    p.setBrush(Qt::NoBrush);
    p.setPen(shadowPen);
    p.drawEllipse(left + QPointF(2, 3), r, r);
    p.drawEllipse(right + QPointF(2, 3), r, r);
    p.setPen(ringPen);
    p.drawEllipse(left, r, r);
    p.setPen(QPen(QColor(0xff, 0xe0, 0x8a), 9, Qt::SolidLine, Qt::FlatCap));
    p.drawEllipse(right, r, r);
    p.setPen(QPen(QColor(255, 255, 255, 235), 9, Qt::SolidLine, Qt::FlatCap));
    // Angles in 1/16 degree, counter-clockwise from three o'clock: the arc of the left ring
    // that lies inside the right one, in its upper half.
    p.drawArc(QRectF(left.x() - r, left.y() - r, 2 * r, 2 * r), 0, 50 * 16);

    // Sparkles.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 220));
    for (const QPointF c : {QPointF(62, 118), QPointF(222, 40), QPointF(238, 104), QPointF(40, 70)}) {
        QPainterPath star;
        star.moveTo(c.x(), c.y() - 6);
        star.quadTo(c, QPointF(c.x() + 6, c.y()));
        star.quadTo(c, QPointF(c.x(), c.y() + 6));
        star.quadTo(c, QPointF(c.x() - 6, c.y()));
        star.quadTo(c, QPointF(c.x(), c.y() - 6));
        p.drawPath(star);
    }
    return img;
}

}  // namespace nq::assets
