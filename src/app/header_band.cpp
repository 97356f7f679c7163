#include "app/header_band.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QVBoxLayout>

#include "app/app_icon.h"

namespace nq::app {
namespace {

constexpr int kIconPx = 44;

// White text on the band; the highlight of an open menu is a veil of white over the blue.
void whiteOnBand(QWidget* w, int alpha = 255) {
    QPalette pal = w->palette();
    const QColor text(255, 255, 255, alpha);
    for (auto role : {QPalette::WindowText, QPalette::ButtonText, QPalette::Text, QPalette::HighlightedText})
        pal.setColor(role, text);
    pal.setColor(QPalette::Window, Qt::transparent);
    pal.setColor(QPalette::Button, Qt::transparent);
    pal.setColor(QPalette::Highlight, QColor(255, 255, 255, 50));
    w->setPalette(pal);
}

}  // namespace

HeaderBand::HeaderBand(QWidget* parent) : XPContainer(parent) {
    setObjectName("TopFrame");
    setStyle(Plain);
    setBackLightColor(QColor(0x2f, 0x80, 0xed));
    setBackDarkColor(QColor(0x1a, 0x5f, 0xc8));

    menuBar_ = new QMenuBar(this);
    menuBar_->setObjectName("menuBar");
    menuBar_->setNativeMenuBar(false);
    menuBar_->setAutoFillBackground(false);
    whiteOnBand(menuBar_);

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
    col->addWidget(menuBar_);
    col->addLayout(brand);
}

void HeaderBand::setSubtitle(const QString& text) {
    subtitle_->setText(text);
}

}  // namespace nq::app
