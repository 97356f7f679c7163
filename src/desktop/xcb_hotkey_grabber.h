#pragma once
// Global hotkeys on X11: passive key grabs on the root window of the program's X connection,
// and a native event filter that turns the grabbed key presses into the registration's
// identifier. CapsLock and NumLock are grabbed as well, so that a lit lock key does not swallow
// the hotkey.

#include <QAbstractNativeEventFilter>
#include <cstdint>
#include <vector>

#include "desktop/hotkey_grabber.h"

struct xcb_connection_t;

namespace nq {

class XcbHotkeyGrabber final : public HotkeyGrabber, public QAbstractNativeEventFilter {
  public:
    // The connection of a running xcb platform; null when Qt runs on another platform.
    static xcb_connection_t* qtConnection();

    explicit XcbHotkeyGrabber(xcb_connection_t* connection);
    ~XcbHotkeyGrabber() override;

    void RegisterHotKey(int id, std::uint16_t mask, int virtualKey) override;
    void UnregisterHotKey(int id) override;
    void onPressed(std::function<void(int id)> handler) override { handler_ = std::move(handler); }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    // The grabs in force, for the tests: key code and X modifier bits per registration.
    struct Grab {
        int id;
        std::uint8_t keycode;
        std::uint16_t modifiers;
    };
    const std::vector<Grab>& grabs() const { return grabs_; }

  private:
    std::uint8_t keycodeOf(std::uint32_t keysym) const;

    xcb_connection_t* connection_;
    std::uint32_t root_ = 0;
    std::vector<Grab> grabs_;
    std::function<void(int)> handler_;
};

}  // namespace nq
