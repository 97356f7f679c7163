#include "desktop/auto_hide.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

#include "desktop/window_services.h"
#include "desktop/x11_window_frame.h"

namespace nq {

AutoHide::AutoHide(QWidget* window, AutoHideSettings settings)
    : QObject(window), window_(window), model_(settings), cursor_([] { return QCursor::pos(); }) {
    tmrCheckisMouseOver.setInterval(AutoHideModel::kHoverIntervalMs);
    tmrAnimater.setInterval(settings.detailMs);
    connect(&tmrCheckisMouseOver, &QTimer::timeout, this, &AutoHide::checkMouseOver);
    connect(&tmrAnimater, &QTimer::timeout, this, &AutoHide::animate);
}

void AutoHide::start() {
    if (!window_) return;
    model_.start(window_->frameGeometry());
    syncTimers();
}

void AutoHide::setEnabled(bool enabled) {
    if (!window_) return;
    // Left where it is, a hidden window goes back to the window manager, which may pull it in.
    if (!enabled) setWindowManaged(window_, true);
    place(model_.setEnabled(enabled, windowNow().frame));
    syncTimers();
}

void AutoHide::OpenPanel() {
    if (!window_) return;
    place(model_.setOpen(true, windowNow().frame));
    syncTimers();
}

void AutoHide::ClosePanel() {
    if (!window_) return;
    place(model_.setOpen(false, windowNow().frame));
    syncTimers();
}

AutoHideWindow AutoHide::windowNow() {
    if (const QScreen* screen = window_->screen()) model_.setScreen(screen->geometry());
    const Qt::WindowStates state = window_->windowState();
    // Qt keeps the place it asked for, not always the one the window manager gave.
    return {x11OuterGeometry(window_).value_or(window_->frameGeometry()), (state & Qt::WindowMinimized) != 0,
            (state & Qt::WindowMaximized) != 0};
}

void AutoHide::checkMouseOver() {
    if (!window_ || settle()) return;
    // Brought down below the edge or minimised by someone else, it is an ordinary window again.
    if (const AutoHideWindow now = windowNow(); now.frame.top() >= 0 || now.minimized)
        setWindowManaged(window_, true);
    place(model_.hoverCheck(windowNow(), cursor_()));
    syncTimers();
}

void AutoHide::animate() {
    if (!window_) return;
    const bool wasRunning = model_.animationRunning();
    const std::optional<QPoint> at = model_.animationTick(windowNow());
    const bool finished = wasRunning && !model_.animationRunning();
    if (finished) {
        place(at);
    } else if (at) {
        // The hiding slide leaves the window manager first, which would stop it a tenth or a
        // title bar short of the edge.
        if (!model_.opened()) setWindowManaged(window_, false);
        moveTo(*at);
    }
    syncTimers();
}

// A final place: the window also goes to the top of its band, the topmost one by default.
void AutoHide::place(const std::optional<QPoint>& at) {
    if (!at || !window_) return;
    // Hidden, the window is out of the window manager's hands; out, it is an ordinary window.
    // Its frame comes or goes with that, so its place is reckoned again by the new size at the
    // old corner, where the window manager may not yet have put it.
    QPoint to = *at;
    const QPoint corner = windowNow().frame.topLeft();
    const bool handedOver = setWindowManaged(window_, model_.opened());
    if (handedOver) {
        QRect frame = windowNow().frame;
        frame.moveTopLeft(corner);
        to = model_.finalPosition(frame);
    }
    moveTo(to);
    if (model_.settings().alwaysOnTop && !(window_->windowFlags() & Qt::WindowStaysOnTopHint))
        SetTopMost(window_, true);
    window_->raise();
    if (handedOver && model_.opened()) {
        settleAt_ = to;
        settleChecks_ = kSettleChecks;
    }
}

// A window manager maps the window it is handed in its own time and may place it by a stale
// hint: a title bar lower, where the window no longer counts as docked. Put back while the
// pointer is still on its way in, the window keeps its edge; a window the manager refuses to
// place there is left alone after a few tries.
bool AutoHide::settle() {
    if (settleChecks_ == 0) return false;
    --settleChecks_;
    if (x11OuterGeometry(window_).value_or(window_->frameGeometry()).topLeft() == settleAt_) return false;
    moveTo(settleAt_);
    return true;
}

void AutoHide::moveTo(QPoint at) {
    if (!x11MoveOuterTo(window_, at)) window_->move(at);
}

void AutoHide::syncTimers() {
    const auto mirror = [](QTimer& timer, bool running) {
        if (running && !timer.isActive()) timer.start();
        if (!running && timer.isActive()) timer.stop();
    };
    mirror(tmrCheckisMouseOver, model_.hoverRunning());
    mirror(tmrAnimater, model_.animationRunning());
}

}  // namespace nq
