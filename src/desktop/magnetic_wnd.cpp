#include "desktop/magnetic_wnd.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace nq {

namespace {

MagneticSnap::Id idOf(const QWidget* w) {
    return reinterpret_cast<MagneticSnap::Id>(w);
}

SnapRect toSnap(const QRect& r) {
    return {r.left(), r.top(), r.left() + r.width(), r.top() + r.height()};
}

SnapRect workAreaOf(const QWidget* w) {
    const QScreen* screen = w && w->screen() ? w->screen() : QGuiApplication::primaryScreen();
    return screen ? toSnap(screen->availableGeometry()) : SnapRect{};
}

}  // namespace

cMagneticWnd& cMagneticWnd::instance() {
    static cMagneticWnd* one = new cMagneticWnd;  // lives until the process ends
    return *one;
}

bool cMagneticWnd::AddWindow(QWidget* window, QWidget* parent) {
    if (!window || !window->isWindow() || (parent && !parent->isWindow())) return false;
    if (!snap_.add(idOf(window), idOf(parent))) return false;
    windows_.emplace_back(window);
    window->installEventFilter(this);
    // A window that goes without saying so leaves the table with it.
    connect(window, &QObject::destroyed, this, [this, window] { RemoveWindow(window); });
    if (parent) parent->installEventFilter(this);
    CheckGlueing();
    return true;
}

bool cMagneticWnd::RemoveWindow(QWidget* window) {
    const int at = snap_.indexOf(idOf(window));
    if (at == 0) return false;
    snap_.remove(idOf(window));
    // Null once the window is being destroyed: then it is never touched again.
    if (QWidget* alive = windows_[at - 1]) {
        alive->removeEventFilter(this);
        disconnect(alive, &QObject::destroyed, this, nullptr);
    }
    windows_.erase(windows_.begin() + (at - 1));
    if (dragging_ == window) dragging_ = nullptr;
    CheckGlueing();
    return true;
}

std::vector<SnapRect> cMagneticWnd::takeRects() const {
    std::vector<SnapRect> rects(1);
    for (const QPointer<QWidget>& w : windows_) {
        if (!w) {
            rects.push_back({});
            continue;
        }
        // A zoomed window stands for the whole work area.
        rects.push_back(w->isMaximized() ? workAreaOf(w) : toSnap(w->frameGeometry()));
    }
    return rects;
}

void cMagneticWnd::CheckGlueing() {
    snap_.checkGlueing(takeRects());
}

bool cMagneticWnd::isGlued(QWidget* window) const {
    return snap_.glued(idOf(window));
}

QWidget* cMagneticWnd::windowOf(MagneticSnap::Id id) const {
    const int at = snap_.indexOf(id);
    return at == 0 ? nullptr : windows_[at - 1].data();
}

void cMagneticWnd::beginMove(QWidget* window, QPoint cursor) {
    if (snap_.indexOf(idOf(window)) == 0) return;
    dragging_ = window;
    snap_.enterSizeMove(idOf(window), workAreaOf(window), takeRects(), cursor);
}

void cMagneticWnd::moveTo(QWidget* window, QPoint cursor) {
    if (!window || window != dragging_) return;
    const MagneticSnap::Moved moved = snap_.moving(idOf(window), toSnap(window->frameGeometry()), cursor);
    placing_ = true;
    window->move(moved.window.left, moved.window.top);
    for (const auto& [id, rect] : moved.children)
        if (QWidget* child = windowOf(id)) child->move(rect.left, rect.top);
    placing_ = false;
}

void cMagneticWnd::endMove(QWidget* window) {
    if (window != dragging_) return;
    dragging_ = nullptr;
    CheckGlueing();
}

// A window moved by the window manager: its glued children keep their place beside it, moved
// by what it moved since the table last took its rectangle.
void cMagneticWnd::followParent(QWidget* parent) {
    const int self = snap_.indexOf(idOf(parent));
    if (self == 0) return;
    const QPoint travel =
        parent->frameGeometry().topLeft() - QPoint(snap_.rect(self).left, snap_.rect(self).top);
    if (travel.isNull()) return;
    placing_ = true;
    for (int i = 1; i <= snap_.count(); ++i) {
        const MagneticSnap::Entry& e = snap_.entry(i);
        if (e.parent != idOf(parent) || !e.glued) continue;
        if (QWidget* child = windows_[i - 1]) child->move(child->pos() + travel);
    }
    placing_ = false;
}

bool cMagneticWnd::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Move && !placing_ && watched->isWidgetType()) {
        auto* w = static_cast<QWidget*>(watched);
        if (w != dragging_) {
            followParent(w);
            CheckGlueing();
        }
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace nq
