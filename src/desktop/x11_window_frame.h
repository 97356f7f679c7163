#pragma once
// A top-level window's place as the X server has it, and whether the window manager handles the
// window. A window manager keeps part of a decorated window on screen when the program moves it
// (openbox keeps a tenth, Mutter and KWin the title bar) and does not always say where it put it,
// so a window that hides behind an edge reads its place here and leaves the manager while hidden.

#include <QPoint>
#include <QRect>
#include <optional>

class QWidget;

namespace nq {

// The outermost rectangle of the window on screen: the manager's frame around it, or the window
// itself when nothing frames it. None off X11 and before the window has its native handle.
[[nodiscard]] std::optional<QRect> x11OuterGeometry(const QWidget* window);

// Hands the window to the window manager (managed) or takes it away from it (override-redirect:
// no frame, no constraint, no taskbar entry). The outermost rectangle keeps its top left corner;
// a visible window is mapped again, as X wants for the change. False when nothing changed: off
// X11, or the window already was so.
bool setWindowManaged(QWidget* window, bool managed);

// Puts the outermost rectangle's top left corner at `to` by the frame that the X server shows
// now. False off X11, where the caller moves the window itself.
bool x11MoveOuterTo(QWidget* window, QPoint to);

}  // namespace nq
