#pragma once
// The hotkey grabber for the desktop: in a Wayland session the desktop's GlobalShortcuts portal
// over D-Bus, X11 key grabs under the xcb platform otherwise; where neither exists a grabber that
// registers nothing, after one line on stderr that the global hotkey is unavailable.

#include <memory>

#include "desktop/hotkey_grabber.h"

namespace nq {

std::unique_ptr<HotkeyGrabber> makeHotkeyGrabber();

}  // namespace nq
