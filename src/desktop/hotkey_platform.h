#pragma once
// The hotkey grabber for the platform Qt runs on: X11 key grabs under the xcb platform (XWayland
// included); elsewhere a grabber that registers nothing, after one line on stderr that the
// global hotkey is unavailable.

#include <memory>

#include "desktop/hotkey_grabber.h"

namespace nq {

std::unique_ptr<HotkeyGrabber> makeHotkeyGrabber();

}  // namespace nq
