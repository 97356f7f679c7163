#include "app/button_looks.h"

#include "widgets/lv_buttons_h.h"

namespace nq::app {
namespace {

const QColor kBlueTop(0x4c, 0x98, 0xf6);
const QColor kBlueBottom(0x17, 0x5c, 0xc4);
const QColor kBlueHover(0x66, 0xa9, 0xff);
const QColor kBlueText(0x2f, 0x80, 0xed);
const QColor kPaleBlue(0xdc, 0xe9, 0xfb);
const QColor kPaleGrey(0xe4, 0xea, 0xf2);
const QColor kText(0x3c, 0x43, 0x50);

}  // namespace

void lookPrimary(lvButtons_H& b) {
    b.setShape(lvButtons_H::RoundedRectangle);
    b.setBackStyle(lvButtons_H::Opaque);
    b.setGradient(lvButtons_H::Vertical);
    b.setFaceColor(kBlueTop);
    b.setGradientColor(kBlueBottom);
    b.setHoverFaceColor(kBlueHover);
    b.setForeColor(Qt::white);
    b.setDisplayAsDefault(true);
    QFont f = b.font();
    f.setBold(true);
    b.setFont(f);
    b.setCursor(Qt::PointingHandCursor);
}

void lookSecondary(lvButtons_H& b) {
    b.setShape(lvButtons_H::RoundedRectangle);
    b.setBackStyle(lvButtons_H::Opaque);
    b.setGradient(lvButtons_H::Vertical);
    b.setFaceColor(Qt::white);
    b.setGradientColor(kPaleGrey);
    b.setHoverFaceColor(kPaleBlue);
    b.setForeColor(kText);
    b.setHoverForeColor(kBlueText);
    b.setLockHover(true);
    b.setCursor(Qt::PointingHandCursor);
}

void lookTab(lvButtons_H& b) {
    b.setShape(lvButtons_H::RoundedRectangle);
    b.setBackStyle(lvButtons_H::Transparent);
    b.setMode(lvButtons_H::Option);
    b.setHoverFaceColor(kPaleBlue);
    b.setLockHover(true);
    b.setShowsFocus(false);
    b.setCursor(Qt::PointingHandCursor);
}

}  // namespace nq::app
