#include "desktop/hotkey_platform.h"

#include <QDBusConnection>
#include <QGuiApplication>
#include <cstdio>
#include <cstdlib>

#include "desktop/portal_hotkey_grabber.h"
#include "desktop/wayland_session.h"
#include "desktop/xcb_hotkey_grabber.h"

namespace nq {

namespace {

class NoHotkeyGrabber final : public HotkeyGrabber {
  public:
    void RegisterHotKey(int, std::uint16_t, int) override {}
    void UnregisterHotKey(int) override {}
    void onPressed(std::function<void(int)>) override {}
};

void sayOnce(const char* text) {
    static bool said = false;
    if (!said) std::fputs(text, stderr);
    said = true;
}

}  // namespace

std::unique_ptr<HotkeyGrabber> makeHotkeyGrabber() {
    // Under Wayland an X11 grab through XWayland only sees keys while an X window has the focus:
    // the desktop's shortcut portal is the one way to a key that works everywhere.
    if (waylandSession(std::getenv("WAYLAND_DISPLAY"), std::getenv("XDG_SESSION_TYPE")) &&
        QGuiApplication::platformName() != QLatin1String("offscreen")) {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (PortalHotkeyGrabber::available(bus)) return std::make_unique<PortalHotkeyGrabber>(bus);
        sayOnce(
            "nqchat: the global hotkey is unavailable: this Wayland desktop offers no GlobalShortcuts "
            "portal\n");
        return std::make_unique<NoHotkeyGrabber>();
    }
    if (xcb_connection_t* connection = XcbHotkeyGrabber::qtConnection())
        return std::make_unique<XcbHotkeyGrabber>(connection);
    // Offscreen test runs have no keyboard to speak of; saying so there would only be noise.
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        sayOnce(qPrintable(QStringLiteral("nqchat: the global hotkey is unavailable on the %1 platform\n")
                               .arg(QGuiApplication::platformName())));
    return std::make_unique<NoHotkeyGrabber>();
}

}  // namespace nq
