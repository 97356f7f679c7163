#include "app/app_icon.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace nq::app {

QPixmap paintBrandMark(int sizePx) {
    QPixmap pm(sizePx, sizePx);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = sizePx;

    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 235));
    p.drawRoundedRect(QRectF(0, 0, s, s), s * 0.24, s * 0.24);

    // The bubble with its tail to the lower left, as on the 16 and 32 px icons.
    const QRectF body(s * 0.14, s * 0.18, s * 0.72, s * 0.5);
    QPainterPath bubble;
    bubble.addRoundedRect(body, s * 0.22, s * 0.22);
    QPainterPath tail;
    tail.moveTo(s * 0.28, s * 0.6);
    tail.lineTo(s * 0.2, s * 0.84);
    tail.lineTo(s * 0.48, s * 0.66);
    tail.closeSubpath();
    QLinearGradient fill(0, body.top(), 0, s * 0.84);
    fill.setColorAt(0, QColor(0x6c, 0xb6, 0xff));
    fill.setColorAt(1, QColor(0x1c, 0x6f, 0xe8));
    p.setBrush(fill);
    p.setPen(QPen(QColor(0x17, 0x5c, 0xc4), s * 0.03));
    p.drawPath(bubble.united(tail));

    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    const qreal r = s * 0.06;
    for (int i = 0; i < 3; ++i) p.drawEllipse(QPointF(s * (0.34 + 0.16 * i), body.center().y()), r, r);
    return pm;
}

QPixmap paintLoginAvatar(int sizePx) {
    QPixmap pm(sizePx, sizePx);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = sizePx;
    const QRectF disc(s * 0.02, s * 0.02, s * 0.96, s * 0.96);

    QPainterPath clip;
    clip.addEllipse(disc);
    p.setClipPath(clip);
    QLinearGradient bg(0, 0, 0, s);
    bg.setColorAt(0, QColor(0xe8, 0xf1, 0xfd));
    bg.setColorAt(1, QColor(0xc9, 0xdc, 0xf7));
    p.fillRect(disc, bg);

    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x8f, 0xb4, 0xe8));
    p.drawEllipse(QPointF(s * 0.5, s * 0.4), s * 0.17, s * 0.17);
    p.drawEllipse(QRectF(s * 0.2, s * 0.63, s * 0.6, s * 0.5));
    p.setClipping(false);

    p.setPen(QPen(QColor(0xd6, 0xe3, 0xf5), s * 0.03));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(disc);
    return pm;
}

}  // namespace nq::app
