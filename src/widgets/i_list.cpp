#include "widgets/i_list.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <algorithm>

#include "widgets/image_list.h"
#include "wire/gbk.h"

namespace nq {
namespace {

constexpr int kHighlightLeft = 2;
constexpr int kHighlightTop = 2;
constexpr int kHighlightRightGap = 5;   // from the surface's right edge
constexpr int kHighlightHeightCut = 3;  // from the row height
constexpr qreal kHighlightRadius = 5;
constexpr int kTextRightGap = 4;

QString toText(const Bytes& gbkText) {
    const std::string utf8 = gbk::toUtf8(gbkText);
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

}  // namespace

IList::IList(QWidget* parent)
    : QWidget(parent), scroll_(new QScrollBar(Qt::Vertical, this)), dragTimer_(this) {
    scroll_->setObjectName("Scroll");
    scroll_->setVisible(false);
    scroll_->setSingleStep(1);
    scroll_->setFocusPolicy(Qt::NoFocus);
    connect(scroll_, &QScrollBar::valueChanged, this, [this] { update(); });
    dragTimer_.setObjectName("Timer1");
    dragTimer_.setInterval(kDragScrollMs);
    connect(&dragTimer_, &QTimer::timeout, this, &IList::dragTick);
    // paintRows covers every pixel of the surface.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setBackgroundRole(QPalette::Base);
    connectModel();
}

IList::~IList() = default;

void IList::connectModel() {
    connect(model_, &ItemList::changed, this, &IList::refresh);
    connect(model_, &ItemList::scrollIntoView, this, &IList::bringIntoView);
}

void IList::setModel(ItemList* model) {
    if (!model) model = &own_;
    if (model == model_) return;
    disconnect(model_, nullptr, this, nullptr);
    model_ = model;
    connectModel();
    refresh();
}

void IList::setImageList(const ImageList* images) {
    images_ = images;
    update();
}

void IList::setItemHeight(int pixels) {
    itemHeight_ = std::max(1, pixels);
    refresh();
}

void IList::setPos(int& field, int value) {
    field = value;
    update();
}
void IList::setIconPosX(int v) {
    setPos(iconX_, v);
}
void IList::setIconPosY(int v) {
    setPos(iconY_, v);
}
void IList::setIcon1PosX(int v) {
    setPos(icon1X_, v);
}
void IList::setIcon1PosY(int v) {
    setPos(icon1Y_, v);
}
void IList::setCaptionPosX(int v) {
    setPos(captionX_, v);
}
void IList::setCaptionPosY(int v) {
    setPos(captionY_, v);
}
void IList::setTextPosX(int v) {
    setPos(textX_, v);
}
void IList::setTextPosY(int v) {
    setPos(textY_, v);
}

void IList::SetPos(int captionX, int captionY, int textX, int textY, int iconX, int icon1Y, int icon1X,
                   int iconY) {
    captionX_ = captionX;
    captionY_ = captionY;
    textX_ = textX;
    textY_ = textY;
    iconX_ = iconX;
    icon1Y_ = icon1Y;
    icon1X_ = icon1X;
    iconY_ = iconY;
    Redraw();
}

void IList::setSelected(int position) {
    model_->setSelected(position);
    update();
}

void IList::Redraw() {
    model_->Redraw();  // the model's changed() comes back to refresh()
}

void IList::refresh() {
    fitScrollBar();
    update();
}

void IList::DrawItem(int position) {
    const int top = (position - 1 - scrollValue()) * itemHeight_;
    if (top + itemHeight_ > 0 && top < height()) update(0, top, surfaceWidth(), itemHeight_);
}

int IList::rowsThatFit() const {
    return height() / itemHeight_;
}

int IList::scrollValue() const {
    return scroll_->value();
}

bool IList::scrollBarOn() const {
    return scroll_->isVisibleTo(this);
}

int IList::surfaceWidth() const {
    return scrollBarOn() ? width() - scroll_->width() : width();
}

void IList::fitScrollBar() {
    const int fit = rowsThatFit();
    const int max = count() - fit;
    if (max <= 0) {
        scroll_->setRange(0, 0);
        scroll_->setVisible(false);
        return;
    }
    scroll_->setRange(0, max);
    scroll_->setPageStep(std::max(1, fit));
    scroll_->setVisible(true);
}

bool IList::isVisible(int position) const {
    const int value = scrollValue();
    return position > value && position <= value + rowsThatFit();
}

void IList::ScrollTo(int position) {
    if (!scrollBarOn()) return;
    const int fit = rowsThatFit();
    // Rows from position to the end, itself included.
    if (count() - position + 1 > fit) {
        scroll_->setValue(position - 1);
    } else {
        scroll_->setValue(count() - fit);
    }
}

void IList::bringIntoView(int position) {
    scroll_->setValue(0);
    if (position > rowsThatFit()) ScrollTo(position);
}

int IList::hitTest(int y) const {
    if (y < 0) return 0;
    const int row = y / itemHeight_ + scrollValue() + 1;
    return row <= count() ? row : 0;
}

void IList::select(int position) {
    if (position == Selected()) return;
    model_->setSelected(position);
    update();
    emit OnSelect(position);
}

// ---- painting ----

void IList::paintEvent(QPaintEvent*) {
    QPainter p(this);
    paintRows(p);
}

// The surface is cleared, then each row from the top one shown: whole rows, and the part of
// the next one that the surface's height leaves room for.
void IList::paintRows(QPainter& painter) const {
    const int w = surfaceWidth();
    painter.fillRect(0, 0, w, height(), palette().color(QPalette::Base));
    const int value = scrollValue();
    const int last = std::min(count(), value + rowsThatFit() + 1);
    painter.setFont(font());
    for (int position = value + 1; position <= last; ++position) drawItem(painter, position, w);
}

// Background, caption, second line, icon, marked icon: later parts paint over earlier ones.
void IList::drawItem(QPainter& painter, int position, int surfaceWidth) const {
    const ListItem& item = model_->Item(position);
    const int y = (position - 1 - scrollValue()) * itemHeight_;
    if (position == Selected()) {
        QPainterPath path;
        path.addRoundedRect(
            QRectF(kHighlightLeft, y + kHighlightTop, surfaceWidth - kHighlightRightGap - kHighlightLeft,
                   itemHeight_ - kHighlightHeightCut),
            kHighlightRadius, kHighlightRadius);
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(path, QColor(kHighlight));
        painter.restore();
    }
    painter.setPen(palette().color(QPalette::Text));
    const QFontMetrics fm = painter.fontMetrics();
    const auto print = [&](int x, int top, const Bytes& text) {
        if (text.empty()) return;
        const int room = surfaceWidth - x - kTextRightGap;
        if (room <= 0) return;
        painter.drawText(QRect(x, top, room, fm.height()), Qt::AlignLeft | Qt::AlignTop,
                         fm.elidedText(toText(text), Qt::ElideRight, room));
    };
    print(captionX_, y + captionY_, item.Caption);
    print(textX_, y + textY_, item.Text);
    if (!images_) return;
    images_->draw(painter, iconX_, y + iconY_, item.icon);
    if (position == model_->icon1Position()) images_->draw(painter, icon1X_, y + icon1Y_, model_->icon1());
}

void IList::resizeEvent(QResizeEvent*) {
    const int side = scroll_->sizeHint().width();
    scroll_->setGeometry(width() - side, 0, side, height());
    fitScrollBar();
}

void IList::hideEvent(QHideEvent*) {
    dragTimer_.stop();
}

// ---- mouse and keys ----

void IList::mousePressEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    emit mouseDown(event->button(), event->modifiers(), at);
    const int row = hitTest(at.y());
    select(row ? row : ItemList::kSelectionCleared);
}

void IList::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    emit mouseMove(event->buttons(), event->modifiers(), at);
    if (!(event->buttons() & Qt::LeftButton)) return;
    if (at.y() >= 0 && at.y() < height()) {
        dragTimer_.stop();
        if (const int row = hitTest(at.y())) select(row);
        return;
    }
    dragStep_ = at.y() < 0 ? -1 : 1;
    if (!dragTimer_.isActive()) dragTimer_.start();
}

// One row further each tick, selection and scroll bar together; at the end of the list there
// is nothing left to do, so the timer stops until the pointer moves again.
void IList::dragTick() {
    const int before = scrollValue();
    scroll_->setValue(before + dragStep_);
    const int target = count() > 0 ? std::clamp(Selected() + dragStep_, 1, count()) : Selected();
    if (target == Selected() && scrollValue() == before) {
        dragTimer_.stop();
        return;
    }
    select(target);
}

void IList::mouseReleaseEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    dragTimer_.stop();
    emit mouseUp(event->button(), event->modifiers(), at);
    if (event->button() == Qt::LeftButton && rect().contains(at)) emit Click();
}

void IList::mouseDoubleClickEvent(QMouseEvent*) {
    emit DblClick();
}

void IList::keyPressEvent(QKeyEvent* event) {
    emit keyDown(event->key(), event->modifiers());
    const int selected = Selected();
    const int value = scrollValue();
    if (event->key() == Qt::Key_Up) {
        if (selected > 1) {
            select(selected - 1);
            if (selected - 1 <= value) scroll_->setValue(value - 1);
        }
    } else if (event->key() == Qt::Key_Down) {
        if (selected < count()) {
            // From no selection (0 or -1) the row below is row 1, where Redraw's rule puts it.
            const int next = selected < 1 ? 1 : selected + 1;
            select(next);
            if (next > value + rowsThatFit()) scroll_->setValue(value + 1);
        }
    } else {
        QWidget::keyPressEvent(event);
    }
}

void IList::wheelEvent(QWheelEvent* event) {
    const int notches = event->angleDelta().y() / 120;
    if (notches == 0 || !scrollBarOn()) {
        event->ignore();
        return;
    }
    scroll_->setValue(scrollValue() - notches * kWheelRows);
}

}  // namespace nq
