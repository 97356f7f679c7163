#include "app/flat_button.h"

#include <QEnterEvent>
#include <QPainter>

namespace nq::app {
namespace {

const QColor kBlue(0x2f, 0x80, 0xed);
const QColor kBlueHover(0x2a, 0x72, 0xd4);
const QColor kBluePressed(0x22, 0x5f, 0xb2);
const QColor kBlueDisabled(0xa9, 0xc8, 0xf2);
const QColor kBorder(0xc9, 0xd1, 0xdc);
const QColor kText(0x3c, 0x43, 0x50);
const QColor kTextDisabled(0xb4, 0xba, 0xc3);

}  // namespace

FlatButton::FlatButton(const QString& text, Kind kind, QWidget* parent)
    : QPushButton(text, parent), kind_(kind) {
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    if (kind_ == Kind::Primary) {
        QFont f = font();
        f.setBold(true);
        setFont(f);
    }
}

void FlatButton::setCurrent(bool current) {
    current_ = current;
    update();
}

QSize FlatButton::sizeHint() const {
    const QFontMetrics fm = fontMetrics();
    const int padX = kind_ == Kind::Tab ? 6 : 14;
    const int padY = kind_ == Kind::Primary ? 8 : 6;
    return {fm.horizontalAdvance(text()) + 2 * padX, fm.height() + 2 * padY};
}

void FlatButton::enterEvent(QEnterEvent* event) {
    hover_ = true;
    update();
    QPushButton::enterEvent(event);
}

void FlatButton::leaveEvent(QEvent* event) {
    hover_ = false;
    update();
    QPushButton::leaveEvent(event);
}

void FlatButton::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const bool on = isEnabled();
    QColor text;
    switch (kind_) {
        case Kind::Primary: {
            const QColor fill = !on ? kBlueDisabled : isDown() ? kBluePressed : hover_ ? kBlueHover : kBlue;
            p.setPen(Qt::NoPen);
            p.setBrush(fill);
            p.drawRoundedRect(r, 4, 4);
            text = Qt::white;
            break;
        }
        case Kind::Secondary: {
            const bool tinted = isChecked() || isDown();
            p.setPen(QPen(on && (hover_ || tinted) ? kBlue : kBorder, 1));
            p.setBrush(tinted ? QColor(0xe3, 0xee, 0xfc) : QColor(Qt::white));
            p.drawRoundedRect(r, 4, 4);
            text = !on ? kTextDisabled : hover_ ? kBlue : kText;
            break;
        }
        case Kind::Tab:
            text = on ? palette().color(QPalette::ButtonText) : kTextDisabled;
            if (current_) p.fillRect(QRectF(r.left() + 8, r.bottom() - 2, r.width() - 16, 2), text);
            break;
    }
    p.setPen(text);
    p.drawText(rect(), Qt::AlignCenter, this->text());
    if (hasFocus() && kind_ != Kind::Tab) {
        p.setPen(QPen(kind_ == Kind::Primary ? QColor(255, 255, 255, 160) : kBlue, 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(r.adjusted(3, 3, -3, -3), 3, 3);
    }
}

}  // namespace nq::app
