#include "widgets/lv_buttons_h.h"

#include <QApplication>
#include <QCursor>
#include <QImage>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

#include "widgets/gradient.h"

namespace nq {
namespace {

constexpr int kPadXPx = 8;
constexpr int kPadYPx = 5;
constexpr int kImageGapPx = 4;
constexpr qreal kCornerRadiusPx = 4.0;
constexpr int kPressedDarker = 112;        // QColor::darker factor of a face held down or chosen
constexpr int kBorderDarker = 135;         // of the border against its face
constexpr int kHoverGradientDarker = 110;  // of a hover face's far end against its near end
const QColor kDefaultInnerLine(255, 255, 255, 110);
const QColor kDisabledFore(160, 166, 176);
const QColor kDisabledVeil(255, 255, 255, 120);

bool isArrow(int key) {
    return key == Qt::Key_Left || key == Qt::Key_Up || key == Qt::Key_Right || key == Qt::Key_Down;
}

WinColor toWinColor(const QColor& c) {
    return winRgb(c.red(), c.green(), c.blue());
}

// CGradient's line spans the diagonal of a square of the larger side, so on a 200 x 30 face a
// vertical run would show a tenth of its colours. Painting a square of the side the run crosses
// and stretching it over the face keeps about 70 % of the run visible; for a vertical or
// horizontal run the stretch is exact, as the colour does not change along it.
QImage gradientFace(QSize size, const QColor& from, const QColor& to, int kind) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    const int side = kind == lvButtons_H::Vertical     ? size.height()
                     : kind == lvButtons_H::Horizontal ? size.width()
                                                       : std::max(size.width(), size.height());
    // CGradient's angles: 90 puts the first colour on top, 180 on the left, 135 top left.
    const float angle = kind == lvButtons_H::Vertical     ? 90.0F
                        : kind == lvButtons_H::Horizontal ? 180.0F
                                                          : 135.0F;
    CGradient painter;
    painter.setColor1(toWinColor(from));
    painter.setColor2(toWinColor(to));
    painter.setAngle(angle);
    QPainter p(&image);
    p.scale(static_cast<qreal>(size.width()) / side, static_cast<qreal>(size.height()) / side);
    painter.render(p, side, side);
    return image;
}

}  // namespace

lvButtons_H::lvButtons_H(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    // Hover starts on a plain move, not only while a button is held.
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    hoverTimer_.setInterval(kHoverPollMs);
    connect(&hoverTimer_, &QTimer::timeout, this, &lvButtons_H::pollHover);
}

lvButtons_H::lvButtons_H(const QString& caption, QWidget* parent) : lvButtons_H(parent) {
    setCaption(caption);
}

// ---- properties ----

void lvButtons_H::setCaption(const QString& text) {
    caption_ = text;
    // An "&" marks the letter that clicks the button with Alt, as on any push button.
    if (mnemonicId_ != 0) releaseShortcut(mnemonicId_);
    const QKeySequence mnemonic = QKeySequence::mnemonic(text);
    mnemonicId_ = mnemonic.isEmpty() ? 0 : grabShortcut(mnemonic);
    updateGeometry();
    update();
}
void lvButtons_H::setCapAlign(int align) {
    capAlign_ = align;
    update();
}
void lvButtons_H::setCapStyle(int style) {
    capStyle_ = style;
    update();
}
void lvButtons_H::setBackStyle(int style) {
    backStyle_ = style;
    update();
}
void lvButtons_H::setShape(int shape) {
    shape_ = shape;
    update();
}
void lvButtons_H::setMode(int mode) {
    mode_ = mode;
    update();
}
void lvButtons_H::setGradient(int kind) {
    gradient_ = kind;
    update();
}
void lvButtons_H::setGradientColor(const QColor& c) {
    gradientColor_ = c;
    update();
}
void lvButtons_H::setFaceColor(const QColor& c) {
    face_ = c;
    update();
}
void lvButtons_H::setForeColor(const QColor& c) {
    fore_ = c;
    update();
}
void lvButtons_H::setHoverFaceColor(const QColor& c) {
    hoverFace_ = c;
    update();
}
void lvButtons_H::setHoverForeColor(const QColor& c) {
    hoverFore_ = c;
    update();
}
void lvButtons_H::setSurroundColor(const QColor& c) {
    surround_ = c;
    update();
}
void lvButtons_H::setImage(const QPixmap& picture) {
    image_ = picture;
    setImgSize(imgSize_);
}
void lvButtons_H::setImgAlign(int align) {
    imgAlign_ = align;
    updateGeometry();
    update();
}
void lvButtons_H::setImgSize(int pixels) {
    imgSize_ = std::max(pixels, 1);
    scaledImage_ = image_.isNull()
                       ? QPixmap()
                       : image_.scaled(imgSize_, imgSize_, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    updateGeometry();
    update();
}
void lvButtons_H::setShowsFocus(bool on) {
    showsFocus_ = on;
    update();
}
void lvButtons_H::setDisplayAsDefault(bool on) {
    displayAsDefault_ = on;
    update();
}
void lvButtons_H::setLockHover(bool on) {
    lockHover_ = on;
    update();
}

void lvButtons_H::setValue(bool on) {
    if (on && mode_ == Option) {
        const QWidget* group = parentWidget();
        for (lvButtons_H* other :
             group ? group->findChildren<lvButtons_H*>(Qt::FindDirectChildrenOnly) : QList<lvButtons_H*>{}) {
            if (other != this && other->mode_ == Option) other->setValue(false);
        }
    }
    if (value_ == on) return;
    value_ = on;
    update();
    emit valueChanged(on);
}

// ---- state machine ----

void lvButtons_H::setStateBit(int bit, bool on) {
    state_ = on ? (state_ | bit) : (state_ & ~bit);
    update();
}

void lvButtons_H::click() {
    if (!isEnabled()) return;
    if (!customClick_) {
        if (mode_ == Check) setValue(!value_);
        if (mode_ == Option) setValue(true);
    }
    emit Click();
}

void lvButtons_H::mousePressEvent(QMouseEvent* event) {
    lastButton_ = event->button();
    if (event->button() == Qt::LeftButton) {
        keyHeld_ = false;
        // Qt sends every mouse event to the pressed widget until the release, as a capture would.
        setStateBit(kHeldBit, true);
    }
    emit mouseDown(event->button(), event->modifiers(), event->position().toPoint());
}

void lvButtons_H::mouseMoveEvent(QMouseEvent* event) {
    if (!hoverTimer_.isActive() && rect().contains(event->position().toPoint())) {
        setStateBit(kOverBit, true);
        emit hoverChanged(true);
        hoverTimer_.start();
    }
    emit mouseMove(event->buttons(), event->modifiers(), event->position().toPoint());
}

void lvButtons_H::mouseReleaseEvent(QMouseEvent* event) {
    const bool clicked = event->button() == Qt::LeftButton && (state_ & kHeldBit) &&
                         rect().contains(event->position().toPoint());
    if (event->button() == Qt::LeftButton) setStateBit(kHeldBit, false);
    emit mouseUp(event->button(), event->modifiers(), event->position().toPoint());
    if (clicked) click();
}

// The hover ends on a timer rather than on leaveEvent: Qt sends a held button no leave until
// the first move after the release, so a press dragged off the button would keep its pressed
// face; and a button hidden or covered under a still cursor gets no leave at all. Asking every
// 50 ms where the cursor is covers all of these.
void lvButtons_H::pollHover() {
    if (!cursorOver()) endHover();
}

bool lvButtons_H::cursorOver() const {
    return isVisible() && QApplication::widgetAt(QCursor::pos()) == this;
}

void lvButtons_H::endHover() {
    hoverTimer_.stop();
    if (!(state_ & kOverBit)) return;
    setStateBit(kOverBit, false);
    emit hoverChanged(false);
}

void lvButtons_H::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        keyHeld_ = true;
        setStateBit(kHeldBit, true);
        return;
    }
    // Arrows walk the focus through the option group; the key-up at the button they reach
    // then chooses it, as in a group of radio buttons.
    if (mode_ == Option && isArrow(event->key())) {
        focusNeighbour(event->key() == Qt::Key_Left || event->key() == Qt::Key_Up ? -1 : 1);
        return;
    }
    QWidget::keyPressEvent(event);
}

void lvButtons_H::keyReleaseEvent(QKeyEvent* event) {
    if (event->isAutoRepeat()) {
        event->ignore();
        return;
    }
    int key = event->key();
    bool act = false;
    if (key == Qt::Key_Space && (state_ & kHeldBit)) {
        keyHeld_ = false;
        setStateBit(kHeldBit, false);
        act = true;
    } else if (mode_ == Option && !value_ && (isArrow(key) || key == Qt::Key_Shift)) {
        key = 0;
        act = true;
    }
    if (act) {
        click();
    } else {
        QWidget::keyReleaseEvent(event);
    }
    emit keyUp(key, event->modifiers());
}

void lvButtons_H::focusNeighbour(int step) {
    const QWidget* group = parentWidget();
    if (!group) return;
    QList<lvButtons_H*> ring;
    for (lvButtons_H* b : group->findChildren<lvButtons_H*>(Qt::FindDirectChildrenOnly))
        if (b->mode_ == Option && b->isVisible() && b->isEnabled()) ring.append(b);
    const qsizetype at = ring.indexOf(this);
    if (at < 0 || ring.size() < 2) return;
    ring[(at + step + ring.size()) % ring.size()]->setFocus(Qt::TabFocusReason);
}

void lvButtons_H::focusOutEvent(QFocusEvent* event) {
    // A Space held while the focus moves away would otherwise never see its key-up.
    if (keyHeld_) {
        keyHeld_ = false;
        setStateBit(kHeldBit, false);
    }
    QWidget::focusOutEvent(event);
}

bool lvButtons_H::event(QEvent* event) {
    if (event->type() == QEvent::Shortcut) {
        click();
        return true;
    }
    return QWidget::event(event);
}

void lvButtons_H::changeEvent(QEvent* event) {
    if (event->type() == QEvent::EnabledChange && !isEnabled()) {
        keyHeld_ = false;
        state_ &= ~kHeldBit;
        endHover();
    }
    QWidget::changeEvent(event);
}

// ---- geometry and painting ----

QSize lvButtons_H::contentSize() const {
    const QSize text = fontMetrics().size(Qt::TextSingleLine | Qt::TextShowMnemonic, caption_);
    if (scaledImage_.isNull()) return text;
    const QSize img = scaledImage_.size();
    const int gap = caption_.isEmpty() ? 0 : kImageGapPx;
    if (imgAlign_ == ImageTop || imgAlign_ == ImageBottom)
        return {std::max(text.width(), img.width()), text.height() + gap + img.height()};
    return {text.width() + gap + img.width(), std::max(text.height(), img.height())};
}

QSize lvButtons_H::sizeHint() const {
    return contentSize() + QSize(2 * kPadXPx, 2 * kPadYPx);
}

QSize lvButtons_H::minimumSizeHint() const {
    return sizeHint();
}

const QImage& lvButtons_H::gradientImage(const QColor& from, const QColor& to) {
    FaceCache& c = faceCache_;
    if (c.size != size() || c.from != from.rgb() || c.to != to.rgb() || c.kind != gradient_) {
        c = {size(), from.rgb(), to.rgb(), gradient_, gradientFace(size(), from, to, gradient_)};
    }
    return c.image;
}

void lvButtons_H::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (surround_.isValid()) p.fillRect(rect(), surround_);

    const bool enabled = isEnabled();
    const bool held = state_ & kHeldBit;
    const bool over = state_ & kOverBit;
    const bool pressed = enabled && held && (over || keyHeld_);
    const bool chosen = mode_ != Command && value_;
    const bool hoverFace = enabled && (over || (lockHover_ && chosen));
    const bool sunk = pressed || (chosen && !lockHover_);
    const bool faceShown = backStyle_ == Opaque || hoverFace || sunk;

    const auto outlineOf = [this](const QRectF& box) {
        QPainterPath path;
        if (shape_ == RoundedRectangle)
            path.addRoundedRect(box, kCornerRadiusPx, kCornerRadiusPx);
        else
            path.addRect(box);
        return path;
    };
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const QPainterPath outline = outlineOf(box);

    if (faceShown) {
        const bool hoverColour = hoverFace && hoverFace_.isValid();
        QColor face = hoverColour ? hoverFace_ : face_;
        // cGradient belongs to the resting face; a hover face runs into a shade of its own.
        QColor second = hoverColour ? hoverFace_.darker(kHoverGradientDarker) : gradientColor_;
        if (sunk) {
            face = face.darker(kPressedDarker);
            second = second.darker(kPressedDarker);
        }
        if (backStyle_ == Opaque && gradient_ != None && width() > 1 && height() > 1)
            p.setBrush(QBrush(gradientImage(face, second)));
        else
            p.setBrush(face);
        p.setPen(backStyle_ == Opaque ? QPen(face.darker(kBorderDarker), 1) : QPen(Qt::NoPen));
        p.drawPath(outline);
        if (backStyle_ == Opaque && displayAsDefault_) {
            p.setPen(kDefaultInnerLine);
            p.setBrush(Qt::NoBrush);
            p.drawPath(outlineOf(box.adjusted(1, 1, -1, -1)));
        }
        if (!enabled) p.fillPath(outline, kDisabledVeil);
    }

    const QColor fore = !enabled ? kDisabledFore : over && hoverFore_.isValid() ? hoverFore_ : fore_;
    paintContent(p, fore, pressed);

    if (showsFocus_ && hasFocus()) {
        QColor ring = fore;
        ring.setAlpha(150);
        p.setRenderHint(QPainter::Antialiasing, false);
        p.setPen(QPen(ring, 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(rect().adjusted(3, 3, -4, -4));
    }
}

void lvButtons_H::paintContent(QPainter& p, const QColor& fore, bool pressed) {
    QRect area = rect().adjusted(kPadXPx, kPadYPx, -kPadXPx, -kPadYPx);
    if (pressed) area.translate(1, 1);  // the face looks pushed in
    const QSize block = contentSize().boundedTo(area.size());
    const int left = capAlign_ == Left    ? area.left()
                     : capAlign_ == Right ? area.right() + 1 - block.width()
                                          : area.left() + (area.width() - block.width()) / 2;
    QRect rest(left, area.top() + (area.height() - block.height()) / 2, block.width(), block.height());

    if (!scaledImage_.isNull()) {
        const QSize img = scaledImage_.size();
        const int gap = caption_.isEmpty() ? 0 : kImageGapPx;
        QRect at;
        switch (imgAlign_) {
            case ImageRight:
                at = QRect(rest.right() + 1 - img.width(), rest.center().y() - img.height() / 2, img.width(),
                           img.height());
                rest.setRight(at.left() - gap - 1);
                break;
            case ImageTop:
                at = QRect(rest.center().x() - img.width() / 2, rest.top(), img.width(), img.height());
                rest.setTop(at.bottom() + 1 + gap);
                break;
            case ImageBottom:
                at = QRect(rest.center().x() - img.width() / 2, rest.bottom() + 1 - img.height(), img.width(),
                           img.height());
                rest.setBottom(at.top() - gap - 1);
                break;
            default:
                at = QRect(rest.left(), rest.center().y() - img.height() / 2, img.width(), img.height());
                rest.setLeft(at.right() + 1 + gap);
                break;
        }
        p.save();
        if (!isEnabled()) p.setOpacity(0.4);
        p.drawPixmap(at, scaledImage_);
        p.restore();
    }
    if (caption_.isEmpty()) return;
    // elidedText measures the '&' of a mnemonic as well, so a caption that fits would lose its
    // end to an ellipsis: it is only asked when the caption is really cut.
    const bool fits = contentSize().width() <= area.width();
    const QString text =
        fits ? caption_
             : fontMetrics().elidedText(caption_, Qt::ElideRight, rest.width(), Qt::TextShowMnemonic);
    const int align = Qt::TextShowMnemonic | Qt::AlignVCenter |
                      (capAlign_ == Left    ? Qt::AlignLeft
                       : capAlign_ == Right ? Qt::AlignRight
                                            : Qt::AlignHCenter);
    if (capStyle_ == Engraved) {
        p.setPen(QColor(255, 255, 255, 170));
        p.drawText(rest.translated(0, 1), align, text);
    }
    p.setPen(fore);
    p.drawText(rest, align, text);
}

}  // namespace nq
