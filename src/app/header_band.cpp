#include "app/header_band.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

#include "app/app_icon.h"
#include "app/main_menus.h"
#include "widgets/lv_buttons_h.h"

namespace nq::app {
namespace {

constexpr int kIconPx = 44;
constexpr int kGlyphPx = 18;
const QColor kVeil(255, 255, 255, 60);  // a white veil over the blue under the cursor

void whiteOnBand(QWidget* w, int alpha = 255) {
    QPalette pal = w->palette();
    pal.setColor(QPalette::WindowText, QColor(255, 255, 255, alpha));
    w->setPalette(pal);
}

void lookOnBand(lvButtons_H& b) {
    b.setShape(lvButtons_H::RoundedRectangle);
    b.setBackStyle(lvButtons_H::Transparent);
    b.setForeColor(Qt::white);
    b.setHoverFaceColor(kVeil);
    b.setFaceColor(kVeil);
    b.setLockHover(true);
    b.setShowsFocus(false);
    b.setCursor(Qt::PointingHandCursor);
}

// The glyphs of buttons 4 and 5, white line drawings: a head and shoulders with a plus, and
// a cog wheel.
QPixmap paintGlyph(bool cog, qreal dpr) {
    QPixmap pm(QSize(kGlyphPx, kGlyphPx) * dpr);
    pm.setDevicePixelRatio(dpr);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(Qt::white, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    if (cog) {
        const QPointF c(9, 9);
        for (int i = 0; i < 8; ++i) {
            p.save();
            p.translate(c);
            p.rotate(i * 45.0);
            p.drawLine(QPointF(0, -5.5), QPointF(0, -8));
            p.restore();
        }
        p.drawEllipse(c, 5.5, 5.5);
        p.drawEllipse(c, 2.2, 2.2);
    } else {
        p.drawEllipse(QPointF(7, 6), 3.2, 3.2);
        QPainterPath shoulders;
        shoulders.moveTo(1.5, 16.5);
        shoulders.cubicTo(1.5, 11, 12.5, 11, 12.5, 16.5);
        p.drawPath(shoulders);
        p.drawLine(QPointF(14.5, 5), QPointF(14.5, 11));
        p.drawLine(QPointF(11.5, 8), QPointF(17.5, 8));
    }
    return pm;
}

}  // namespace

HeaderBand::HeaderBand(QWidget* parent) : XPContainer(parent) {
    setObjectName("TopFrame");
    setStyle(Plain);
    setBackLightColor(QColor(0x2f, 0x80, 0xed));
    setBackDarkColor(QColor(0x1a, 0x5f, 0xc8));

    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    const char* captions[] = {"系统", "操作", "设置", "帮助"};
    for (int i = 0; i < kBarButtons; ++i) {
        auto* b = new lvButtons_H(i < 4 ? QString::fromUtf8(captions[i]) : QString(), this);
        b->setObjectName(QString("lvButtons_H2(%1)").arg(i));
        lookOnBand(*b);
        if (i < 4) {
            // Option mode: the button of the open menu stays chosen until the menu closes.
            b->setMode(lvButtons_H::Option);
        } else {
            b->setImage(paintGlyph(i == kSettingsWindow, devicePixelRatioF()));
            b->setImgSize(kGlyphPx);
            b->setToolTip(i == kAddFriend ? "添加好友" : "系统设置");
            b->setFixedSize(26, 24);
            b->setProperty("Tag", "MOVEH");  // they stand at the band's right end
        }
        if (i == kAddFriend) row->addStretch();
        row->addWidget(b);
        bar_[static_cast<size_t>(i)] = b;
    }

    auto* icon = new QLabel(this);
    icon->setPixmap(paintBrandMark(kIconPx));
    icon->setFixedSize(kIconPx, kIconPx);

    auto* name = new QLabel("珀岚聊天", this);
    name->setObjectName("productName");
    QFont big = name->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    name->setFont(big);
    whiteOnBand(name);

    subtitle_ = new QLabel(this);
    subtitle_->setObjectName("subtitle");
    whiteOnBand(subtitle_, 210);
    name->setProperty("Tag", "STRETCHH");
    subtitle_->setProperty("Tag", "STRETCHH");

    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    titles->addStretch();
    titles->addWidget(name);
    titles->addWidget(subtitle_);
    titles->addStretch();

    auto* brand = new QHBoxLayout;
    brand->setContentsMargins(18, 6, 18, 16);
    brand->setSpacing(12);
    brand->addWidget(icon);
    brand->addLayout(titles, 1);

    auto* col = new QVBoxLayout(this);
    col->setContentsMargins(6, 4, 6, 0);
    col->setSpacing(0);
    col->addLayout(row);
    col->addLayout(brand);
}

void HeaderBand::attachMenus(const MainMenus& menus) {
    QMenu* const opens[] = {menus.system, menus.operate, menus.settings, menus.help};
    for (int i = 0; i < 4; ++i) {
        lvButtons_H* b = bar_[static_cast<size_t>(i)];
        QMenu* menu = opens[i];
        connect(b, &lvButtons_H::Click, menu, [b, menu] {
            b->setValue(true);
            menu->popup(b->mapToGlobal(QPoint(0, b->height())));
        });
        connect(menu, &QMenu::aboutToHide, b, [b] { b->setValue(false); });
    }
    followAction(bar_[kAddFriend], menus.addFriend);
    followAction(bar_[kSettingsWindow], menus.settingsWindow);
}

void HeaderBand::followAction(lvButtons_H* button, QAction* action) {
    connect(button, &lvButtons_H::Click, action, [action] {
        if (action->isEnabled()) action->trigger();
    });
    button->setEnabled(action->isEnabled());
    connect(action, &QAction::changed, button, [button, action] { button->setEnabled(action->isEnabled()); });
}

void HeaderBand::setSubtitle(const QString& text) {
    subtitle_->setText(text);
}

}  // namespace nq::app
