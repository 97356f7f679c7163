#include "widgets/xp_container.h"

#include <QEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

namespace nq {
namespace {

constexpr int kBorderPx = 1;
constexpr int kStripPaddingPx = 10;  // above and below the caption together
constexpr int kCaptionIndentPx = 8;

QFont captionFont(const QFont& base) {
    QFont f = base;
    f.setBold(true);
    return f;
}

}  // namespace

XPContainer::Colours XPContainer::themeColours(ThemeKind theme) {
    if (theme == Silver)
        return {QColor(242, 242, 246), QColor(200, 201, 214), QColor(250, 250, 252),
                QColor(228, 229, 236), QColor(165, 166, 182), QColor(52, 54, 74)};
    return {QColor(211, 224, 247), QColor(167, 197, 237), QColor(239, 244, 252),
            QColor(220, 232, 250), QColor(173, 193, 220), QColor(2, 45, 123)};
}

XPContainer::XPContainer(QWidget* parent) : QWidget(parent), colours_(themeColours(Blue)) {
    // paintEvent covers every pixel, so Qt need not clear the area first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    applyFrameMargins();
}

void XPContainer::setHeaderLightColor(const QColor& c) {
    colours_.headerLight = c;
    update();
}
void XPContainer::setHeaderDarkColor(const QColor& c) {
    colours_.headerDark = c;
    update();
}
void XPContainer::setBackLightColor(const QColor& c) {
    colours_.backLight = c;
    update();
}
void XPContainer::setBackDarkColor(const QColor& c) {
    colours_.backDark = c;
    update();
}
void XPContainer::setBorderColor(const QColor& c) {
    colours_.border = c;
    update();
}
void XPContainer::setTextColor(const QColor& c) {
    colours_.text = c;
    update();
}

void XPContainer::setCaption(const QString& text) {
    caption_ = text;
    update();
}

void XPContainer::setStyle(int style) {
    if (style < HeaderAndBorder || style > Plain) return;
    style_ = style;
    applyFrameMargins();
    update();
}

void XPContainer::setTheme(int theme) {
    if (theme < Blue || theme > Silver) return;
    theme_ = theme;
    colours_ = themeColours(static_cast<ThemeKind>(theme));
    update();
}

int XPContainer::headerHeight() const {
    if (style_ != HeaderAndBorder) return 0;
    return QFontMetrics(captionFont(font())).height() + kStripPaddingPx;
}

// The contents margins keep the strip and the border out of any layout set on the panel.
void XPContainer::applyFrameMargins() {
    const int edge = style_ == Plain ? 0 : kBorderPx;
    setContentsMargins(edge, style_ == HeaderAndBorder ? headerHeight() : edge, edge, edge);
}

void XPContainer::changeEvent(QEvent* event) {
    if (event->type() == QEvent::FontChange) applyFrameMargins();
    QWidget::changeEvent(event);
}

void XPContainer::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const int strip = headerHeight();
    QLinearGradient back(0, strip, 0, height());
    back.setColorAt(0, colours_.backLight);
    back.setColorAt(1, colours_.backDark);
    p.fillRect(QRect(0, strip, width(), height() - strip), back);

    if (strip > 0) {
        QLinearGradient head(0, 0, 0, strip);
        head.setColorAt(0, colours_.headerLight);
        head.setColorAt(1, colours_.headerDark);
        p.fillRect(QRect(0, 0, width(), strip), head);
        p.setPen(colours_.border);
        p.drawLine(0, strip - 1, width() - 1, strip - 1);
        const QFont f = captionFont(font());
        p.setFont(f);
        p.setPen(colours_.text);
        const QRect text(kCaptionIndentPx, 0, width() - 2 * kCaptionIndentPx, strip);
        p.drawText(text, Qt::AlignLeft | Qt::AlignVCenter,
                   QFontMetrics(f).elidedText(caption_, Qt::ElideRight, text.width()));
    }
    if (style_ != Plain) {
        p.setPen(colours_.border);
        p.setBrush(Qt::NoBrush);
        p.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

bool XPContainer::moveWindowFrom(QWidget* from) {
    QWindow* handle = from ? from->window()->windowHandle() : nullptr;
    return handle && handle->startSystemMove();
}

void XPContainer::mousePressEvent(QMouseEvent* event) {
    emit mouseDown(event->button(), event->modifiers(), event->position().toPoint());
    if (dragsWindow_ && event->button() == Qt::LeftButton) {
        // Without a window manager's move the panel moves the window itself, by the cursor's
        // travel since the press.
        dragging_ = !moveWindowFrom(this);
        grabOffset_ = event->globalPosition().toPoint() - window()->pos();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void XPContainer::mouseMoveEvent(QMouseEvent* event) {
    emit mouseMove(event->buttons(), event->modifiers(), event->position().toPoint());
    if (dragging_) {
        window()->move(event->globalPosition().toPoint() - grabOffset_);
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void XPContainer::mouseReleaseEvent(QMouseEvent* event) {
    emit mouseUp(event->button(), event->modifiers(), event->position().toPoint());
    if (event->button() == Qt::LeftButton) dragging_ = false;
    QWidget::mouseReleaseEvent(event);
}

}  // namespace nq
