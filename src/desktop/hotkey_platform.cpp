#include "desktop/hotkey_platform.h"

#include <QGuiApplication>
#include <cstdio>

#include "desktop/xcb_hotkey_grabber.h"

namespace nq {

namespace {

class NoHotkeyGrabber final : public HotkeyGrabber {
  public:
    void RegisterHotKey(int, std::uint16_t, int) override {}
    void UnregisterHotKey(int) override {}
    void onPressed(std::function<void(int)>) override {}
};

}  // namespace

std::unique_ptr<HotkeyGrabber> makeHotkeyGrabber() {
    if (xcb_connection_t* connection = XcbHotkeyGrabber::qtConnection())
        return std::make_unique<XcbHotkeyGrabber>(connection);
    // Offscreen test runs have no keyboard to speak of; saying so there would only be noise.
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        static bool said = false;
        if (!said)
            std::fprintf(stderr, "nqchat: the global hotkey is unavailable on the %s platform\n",
                         qPrintable(QGuiApplication::platformName()));
        said = true;
    }
    return std::make_unique<NoHotkeyGrabber>();
}

}  // namespace nq
