#include "desktop/frm_msn_style.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QMetaObject>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QTimer>

#include <algorithm>
#include <cmath>

#include "desktop/toast_board.h"
#include "desktop/tray.h"
#include "desktop/window_services.h"
#include "session/platform_services.h"
#include "widgets/twips.h"

namespace nq {

namespace {

// Design of the background picture, in pixels of the 180 x 116 surface.
constexpr int kHeaderHeight = 26;
constexpr int kCloseMarkSize = 14;
constexpr int kTextTop = 32;
constexpr int kTextHeight = 52;       // above the Ok button
constexpr int kTextHeightAlone = 74;  // down to the bottom margin when there is no button
constexpr int kSideMargin = 10;
const QColor kBorder(110, 142, 204);
const QColor kTitle(32, 58, 110);
const QColor kText(0, 0, 0);
const QColor kLink(0, 0, 255);

// The background surface: the gradient is its persistent picture (CGradient::Draw); the frame
// line and the header with the program's mark are painted on top of it.
class ToastBackground : public QWidget {
  public:
    using QWidget::QWidget;

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing, true);
        const QRectF outer = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        // A faint light line inside the frame lifts the surface off the desktop.
        p.setPen(QPen(QColor(255, 255, 255, 150), 1.0));
        p.drawRect(outer.adjusted(1, 1, -1, -1));
        p.setPen(QPen(kBorder, 1.0));
        p.drawRect(outer);
        p.setPen(QPen(QColor(255, 255, 255, 170), 1.0));
        p.drawLine(QPointF(kSideMargin, kHeaderHeight + 0.5),
                   QPointF(width() - kSideMargin, kHeaderHeight + 0.5));
        p.setPen(QPen(QColor(110, 142, 204, 90), 1.0));
        p.drawLine(QPointF(kSideMargin, kHeaderHeight - 0.5),
                   QPointF(width() - kSideMargin, kHeaderHeight - 0.5));

        appIcon().paint(&p, QRect(8, 5, 16, 16));
        QFont title = font();
        title.setBold(true);
        p.setFont(title);
        p.setPen(kTitle);
        p.drawText(QRect(29, 4, width() - 60, 18), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("珀岚聊天"));
    }
};

QPixmap closeMark(bool pressed) {
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pm(QSize(qRound(kCloseMarkSize * ratio), qRound(kCloseMarkSize * ratio)));
    pm.setDevicePixelRatio(ratio);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF box(0.5, 0.5, kCloseMarkSize - 1.0, kCloseMarkSize - 1.0);
    if (pressed) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(60, 96, 170));
        p.drawRoundedRect(box, 3, 3);
    }
    p.setPen(QPen(pressed ? QColor(255, 255, 255) : QColor(64, 84, 124), 1.6, Qt::SolidLine, Qt::RoundCap));
    const qreal a = 4.0;
    const qreal b = kCloseMarkSize - 4.0;
    p.drawLine(QPointF(a, a), QPointF(b, b));
    p.drawLine(QPointF(b, a), QPointF(a, b));
    return pm;
}

}  // namespace

frmMsnStyle::frmMsnStyle(ToastBoard& board, QWidget* parent)
    : QWidget(parent,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus),
      board_(board) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11NetWmWindowTypeNotification);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("珀岚聊天"));
    buildControls();

    // Load: the stored transparency, then the topmost band.
    applyStoredTransparency(this, board_.transValue());
    SetTopMost(this, true);
}

frmMsnStyle::~frmMsnStyle() = default;

void frmMsnStyle::buildControls() {
    resize(kBackgroundWidthPx, kBackgroundHeightPx);

    picBackground = new ToastBackground(this);
    picBackground->setObjectName(QStringLiteral("picBackground"));
    picBackground->setGeometry(0, 0, kBackgroundWidthPx, kBackgroundHeightPx);
    picBackground->setMouseTracking(true);
    picBackground->installEventFilter(this);

    Image2 = closeMark(true);
    Image3 = closeMark(false);
    Image1 = new QLabel(picBackground);
    Image1->setObjectName(QStringLiteral("Image1"));
    Image1->setGeometry(kBackgroundWidthPx - 8 - kCloseMarkSize, 6, kCloseMarkSize, kCloseMarkSize);
    Image1->setPixmap(Image3);
    Image1->setCursor(Qt::PointingHandCursor);
    Image1->installEventFilter(this);

    lblAlert = new QLabel(picBackground);
    lblAlert->setObjectName(QStringLiteral("lblAlert"));
    lblAlert->setGeometry(kSideMargin, kTextTop, kBackgroundWidthPx - 2 * kSideMargin, kTextHeightAlone);
    lblAlert->setWordWrap(true);
    lblAlert->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    lblAlert->setTextFormat(Qt::PlainText);
    lblAlert->setMouseTracking(true);
    lblAlert->installEventFilter(this);
    setLinkLook(false);

    cmdOk = new QPushButton(QStringLiteral("Ok"), picBackground);
    cmdOk->setObjectName(QStringLiteral("cmdOk"));
    cmdOk->setGeometry((kBackgroundWidthPx - 60) / 2, kBackgroundHeightPx - 28, 60, 20);
    cmdOk->setFocusPolicy(Qt::NoFocus);
    cmdOk->setCursor(Qt::PointingHandCursor);
    cmdOk->setStyleSheet(
        QStringLiteral("QPushButton { color: #203a6e; background: qlineargradient(x1:0, y1:0, x2:0, y2:1,"
                       " stop:0 #ffffff, stop:1 #e4ecf9); border: 1px solid #6e8ecc; border-radius: 3px; }"
                       "QPushButton:hover { background: #ffffff; }"
                       "QPushButton:pressed { background: #c9d8f2; }"
                       "QPushButton:disabled { color: #9aa8c4; border-color: #b3c3e2; }"));
    // Always shown, so every toast looks alike; it only answers on a toast that waits for it.
    cmdOk->setEnabled(false);
    connect(cmdOk, &QPushButton::clicked, this, &frmMsnStyle::onOkClicked);

    tmrAlert = new QTimer(this);
    tmrAlert->setObjectName(QStringLiteral("tmrAlert"));
    tmrAlert->setInterval(kDesignAlertMs);
    tmrAlert->setSingleShot(true);
    connect(tmrAlert, &QTimer::timeout, this, &frmMsnStyle::onAlertTimer);

    slideTimer_ = new QTimer(this);
    slideTimer_->setInterval(kSlideStepMs);
    slideTimer_->setTimerType(Qt::PreciseTimer);
    connect(slideTimer_, &QTimer::timeout, this, [this] { step(); });
}

QRect frmMsnStyle::fullScreenClientArea() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    QRect area = screen != nullptr ? screen->availableGeometry() : QRect(0, 0, 800, 600);
    const QStyle* style = QApplication::style();
    const int caption = style != nullptr ? style->pixelMetric(QStyle::PM_TitleBarHeight) : 0;
    area.setHeight(std::max(1, area.height() - caption));
    return area;
}

int frmMsnStyle::fullHeightTwips() const {
    return kBackgroundHeightPx * kTwipsPerPixel + heightExtra_;
}

void frmMsnStyle::Alert(const QString& text, int time, const QString& sound) {
    slot_ = board_.takeSlot();

    // Text and display time. A negative time is refused and leaves the design interval.
    // The text area ends above the Ok button when there is one; a text that does not fit is
    // cut at the bottom of its area, and the window keeps its size.
    lblAlert->setText(text);
    lblAlert->resize(lblAlert->width(), time == 0 ? kTextHeight : kTextHeightAlone);
    const bool overflows = lblAlert->heightForWidth(lblAlert->width()) > lblAlert->height();
    lblAlert->setAlignment(Qt::AlignHCenter | (overflows ? Qt::AlignTop : Qt::AlignVCenter));
    if (time >= 0) tmrAlert->setInterval(time);

    // The screen, and the extras of a frame if the window has one (twips).
    screen_ = fullScreenClientArea();
    widthExtra_ = (frameGeometry().width() - geometry().width()) * kTwipsPerPixel;
    heightExtra_ = (frameGeometry().height() - geometry().height()) * kTwipsPerPixel;

    // A thin strip below the bottom right corner; each slot a full toast higher.
    height_ = kStartHeight;
    width_ = kBackgroundWidthPx * kTwipsPerPixel + widthExtra_;
    left_ = kTwipsPerPixel * (screen_.x() + screen_.width()) - width_ - kScreenMargin;
    top_ =
        kTwipsPerPixel * (screen_.y() + screen_.height()) - fullHeightTwips() * (slot_ - 1) + kScreenMargin;
    applyGeometry();

    show();
    board_.services().playSound(sound.toStdString());
    gradient_.setAngle(kGradientAngle);
    gradient_.setColor1(kGradientColour1);
    gradient_.setColor2(kGradientColour2);
    gradient_.Draw(picBackground);

    // A toast without a time waits for its Ok.
    if (time == 0) cmdOk->setEnabled(true);

    phase_ = Phase::SlidingIn;
    if (height_ >= fullHeightTwips()) {
        finishSlideIn();
    } else {
        slideTimer_->start();
    }
}

bool frmMsnStyle::step() {
    switch (phase_) {
        case Phase::SlidingIn: {
            const int target = std::min(height_ + kRiseStep, fullHeightTwips());
            top_ -= target - height_;
            height_ = target;
            applyGeometry();
            if (height_ >= fullHeightTwips()) finishSlideIn();
            return true;
        }
        case Phase::SlidingOut:
            if (height_ > kSinkFloor) {
                height_ -= kSinkStep;
                top_ += kSinkStep;
                applyGeometry();
            }
            if (height_ <= kSinkFloor) unload();
            return true;
        default:
            return false;
    }
}

void frmMsnStyle::finishSlideIn() {
    slideTimer_->stop();
    phase_ = Phase::Displayed;
    if (callerPending_) {
        caller_ = pendingCaller_;
        callerPending_ = false;
    }
    if (!cmdOk->isEnabled()) tmrAlert->start();
}

void frmMsnStyle::setCaller(QWidget* caller) {
    if (phase_ == Phase::SlidingIn) {
        pendingCaller_ = caller;
        callerPending_ = true;
    } else {
        caller_ = caller;
    }
}

void frmMsnStyle::onAlertTimer() {
    tmrAlert->stop();
    if (phase_ == Phase::Unloaded) return;
    phase_ = Phase::SlidingOut;
    if (height_ <= kSinkFloor) {
        unload();
    } else {
        slideTimer_->start();
    }
}

void frmMsnStyle::unload() {
    slideTimer_->stop();
    tmrAlert->stop();
    releaseSlot();
    phase_ = Phase::Unloaded;
    close();
}

void frmMsnStyle::releaseSlot() {
    board_.releaseSlot(slot_);
}

void frmMsnStyle::onCloseMarkClicked() {
    releaseSlot();
    hide();
}

void frmMsnStyle::onOkClicked() {
    if (QWidget* target = caller_.data()) {
        // Called by name: any window may offer MsgBack, and one that does not is left alone.
        const QMetaObject* meta = target->metaObject();
        if (meta->indexOfMethod(QMetaObject::normalizedSignature("MsgBack(QString)")) >= 0) {
            QMetaObject::invokeMethod(target, "MsgBack", Qt::DirectConnection,
                                      Q_ARG(QString, QString::fromLatin1(kOkMessage)));
        }
    }
    releaseSlot();
    hide();
}

void frmMsnStyle::setLinkLook(bool link) {
    QFont font = lblAlert->font();
    font.setUnderline(link);
    lblAlert->setFont(font);
    QPalette palette = lblAlert->palette();
    palette.setColor(QPalette::WindowText, link ? kLink : kText);
    lblAlert->setPalette(palette);
}

bool frmMsnStyle::eventFilter(QObject* watched, QEvent* event) {
    const QEvent::Type type = event->type();
    if (watched == Image1) {
        if (type == QEvent::MouseButtonPress) {
            Image1->setPixmap(Image2);
            return true;
        }
        if (type == QEvent::MouseButtonRelease) {
            const auto* mouse = static_cast<QMouseEvent*>(event);
            if (mouse->button() == Qt::LeftButton && Image1->rect().contains(mouse->position().toPoint())) {
                onCloseMarkClicked();
            }
            return true;
        }
        // Moves over the mark belong to the mark, not to the background beneath it.
        return type == QEvent::MouseMove;
    }
    if (watched == lblAlert) {
        if (type == QEvent::MouseMove) {
            if (!lblAlert->font().underline()) setLinkLook(true);
            return true;
        }
        // A click on the text only looks like a link click; it does nothing.
        return type == QEvent::MouseButtonPress || type == QEvent::MouseButtonRelease;
    }
    if (watched == picBackground && type == QEvent::MouseMove) {
        Image1->setPixmap(Image3);
        if (lblAlert->font().underline()) setLinkLook(false);
    }
    return QWidget::eventFilter(watched, event);
}

void frmMsnStyle::closeEvent(QCloseEvent* event) {
    // Closed from outside (a logout unloads every window): the slot stays counted, so the next
    // toast still opens above this one's place. Only the toast's own ways out give it back.
    slideTimer_->stop();
    tmrAlert->stop();
    phase_ = Phase::Unloaded;
    QWidget::closeEvent(event);
}

void frmMsnStyle::applyGeometry() {
    const int x = twipsToPixels(left_);
    const int y = twipsToPixels(top_);
    // Top and bottom are rounded on their own so the edge that stays put in twips stays put on
    // the screen too, instead of jittering by a pixel with every step.
    const int h = std::max(1, twipsToPixels(top_ + height_) - y);
    setGeometry(x, y, twipsToPixels(width_), h);
}

}  // namespace nq
