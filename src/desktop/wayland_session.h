#pragma once
// Wayland sessions: NQChat places its windows by global screen positions (edge hiding, snapping,
// toasts), which only X11 gives a program, so on a Wayland desktop it runs through XWayland.

namespace nq {

// The desktop session is Wayland when WAYLAND_DISPLAY is set or XDG_SESSION_TYPE says so.
// Null stands for an unset variable.
[[nodiscard]] bool waylandSession(const char* waylandDisplay, const char* sessionType);

// Whether to choose Qt's xcb platform: in a Wayland session that offers an X display
// (XWayland), unless the user chose a platform by QT_QPA_PLATFORM or -platform.
[[nodiscard]] bool chooseXWayland(bool wayland, const char* display, const char* qpaPlatform,
                                  bool platformArgument);

}  // namespace nq
