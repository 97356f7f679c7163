#pragma once
// The system's side of a global hotkey: registrations kept by identifier, as the window system
// holds them. Registering an identifier again keeps the earlier key beside the new one, and
// unregistering names an identifier; a failed registration is not reported.

#include <cstdint>
#include <functional>

namespace nq {

class HotkeyGrabber {
  public:
    virtual ~HotkeyGrabber() = default;
    // mask and virtualKey as stored in User.ini (see hotkey_text.h).
    virtual void RegisterHotKey(int id, std::uint16_t mask, int virtualKey) = 0;
    virtual void UnregisterHotKey(int id) = 0;
    // Called with the registration's identifier whenever one of its keys is pressed.
    virtual void onPressed(std::function<void(int id)> handler) = 0;
};

}  // namespace nq
